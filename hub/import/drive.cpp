#include "hub/import/drive.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/numbers.h"
#include "hub/import/columns.h"
#include "hub/import/csv.h"
#include "hub/import/modes.h"
#include "hub/import/times.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;
using std::chrono::nanoseconds;

struct SignalColumn {
  Column column;
  std::optional<std::int32_t> MeasuredCell::*value;
};

constexpr SignalColumn serving_signal[] = {
    {rsrp, &MeasuredCell::rsrp}, {rsrq, &MeasuredCell::rsrq}, {snr, &MeasuredCell::rssnr},
    {cqi, &MeasuredCell::cqi},   {rssi, &MeasuredCell::rssi},
};

constexpr SignalColumn neighbour_signal[] = {
    {neighbour_rsrp, &MeasuredCell::rsrp},
    {neighbour_rsrq, &MeasuredCell::rsrq},
};

constexpr std::int32_t int32_max = std::numeric_limits<std::int32_t>::max();
// Apps write such codes where nothing was measured; no signal is as large.
constexpr double least_code = 200;
// No scenario may be longer.
constexpr std::chrono::seconds longest_drive{10'000'000};

constexpr std::uint64_t largest_id(Cell::CellInfoCase technology) {
  return technology == Cell::kNr ? std::numeric_limits<std::uint64_t>::max() : std::uint64_t{int32_max};
}

bool is_missing(std::string_view text) { return text.empty() || text == "-"; }

/// A comma is the point of a decimal if it cannot separate anything else.
std::optional<double> decimal(std::string text, char separator) {
  if (separator == ';' && text.find('.') == std::string::npos) {
    if (const auto comma = text.find(','); comma != std::string::npos) text[comma] = '.';
  }
  const auto value = number_of<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

class DriveReader {
 public:
  DriveReader(const std::string& name, std::string text, const import_profile& profile)
      : csv_(name, std::move(text)), profile_(profile), drive_{{}, Summary(name)} {}

  Drive read();

 private:
  void read_header();
  void read_row();
  nanoseconds time();
  const Mode& mode() const;
  MeasuredCell serving(Cell::CellInfoCase technology);
  std::optional<MeasuredCell> neighbour(Cell::CellInfoCase technology);
  template <std::size_t Count>
  MeasuredCell signal(const SignalColumn (&signals)[Count], Cell::CellInfoCase technology);
  std::optional<std::int32_t> measured(Column column);
  std::optional<std::uint64_t> id(Cell::CellInfoCase technology);
  std::optional<std::int32_t> area();
  void leave_out_all();

  /// What stands in the column; empty if nothing does, which the summary is told.
  std::optional<std::string> present(Column column);
  const std::string& text(Column column) const { return csv_.cells()[*columns_.found[column].position]; }
  void leave_out(Column column, Reason reason) { drive_.summary.leave_out(column, reason, csv_.line()); }
  [[noreturn]] void fail_at(Column column, std::string_view expected) const {
    csv_.fail(concat(expected, " in ", columns_.found[column].name), kelvane_hub::quoted(text(column)));
  }

  static constexpr std::string_view end_of_file_ = "'end of file'";

  CsvReader csv_;
  const import_profile& profile_;
  Columns columns_;
  Drive drive_;
  Moment first_;
};

Drive DriveReader::read() {
  read_header();
  const std::size_t width = csv_.cells().size();
  while (csv_.next()) {
    const std::size_t found = csv_.cells().size();
    if (found != width) csv_.fail(concat(width, " columns"), concat("'", found, "'"));
    read_row();
  }
  if (drive_.rows.empty()) csv_.fail("a row", end_of_file_);
  return std::move(drive_);
}

void DriveReader::read_header() {
  if (!csv_.next()) csv_.fail("a header", end_of_file_);
  columns_ = find_columns(csv_, profile_);
  drive_.summary.set_columns(columns_);
}

void DriveReader::read_row() {
  const nanoseconds at = time();
  const Mode& network = mode();
  const bool has_cells = network.technology != Cell::CELL_INFO_NOT_SET;
  drive_.summary.add_row(has_cells ? network.name : "without service", at);
  DriveRow& row = drive_.rows.emplace_back();
  row.time = at;
  row.technology = network.technology;
  if (!has_cells) return leave_out_all();
  row.serving = serving(row.technology);
  row.neighbour = neighbour(row.technology);
}

nanoseconds DriveReader::time() {
  const auto moment = parse_moment(text(timestamp));
  if (!moment) fail_at(timestamp, "a time (YYYY.MM.DD_hh.mm.ss, ISO 8601 or Unix)");
  if (drive_.rows.empty()) first_ = *moment;
  const nanoseconds since_first = *moment - first_;
  if (since_first > longest_drive) fail_at(timestamp, "a time at most 10000000 seconds after the first");
  const nanoseconds previous = drive_.rows.empty() ? nanoseconds(0) : drive_.rows.back().time;
  if (since_first < previous) drive_.summary.set_back(csv_.line());
  return std::max(since_first, previous);
}

const Mode& DriveReader::mode() const {
  const Mode* const mode = find_mode(text(network_mode), profile_);
  if (mode == nullptr) fail_at(network_mode, mode_names());
  return *mode;
}

std::optional<std::string> DriveReader::present(Column column) {
  if (!columns_.found[column].position) return {};
  if (!is_missing(text(column))) return text(column);
  leave_out(column, Reason::not_measured);
  return {};
}

std::optional<std::int32_t> DriveReader::measured(Column column) {
  const auto text = present(column);
  if (!text) return {};
  const auto value = decimal(*text, csv_.separator());
  if (!value) fail_at(column, "a number");
  if (std::abs(*value) < least_code) return static_cast<std::int32_t>(std::round(*value));
  leave_out(column, Reason::code);
  return {};
}

template <std::size_t Count>
MeasuredCell DriveReader::signal(const SignalColumn (&signals)[Count], Cell::CellInfoCase technology) {
  MeasuredCell cell;
  for (const auto& [column, value] : signals) {
    const auto found = measured(column);
    if (has_field(technology, value)) {
      cell.*value = found;
    } else if (found) {
      leave_out(column, Reason::no_field);
    }
  }
  return cell;
}

MeasuredCell DriveReader::serving(Cell::CellInfoCase technology) {
  MeasuredCell cell = signal(serving_signal, technology);
  cell.id = id(technology);
  cell.area = area();
  return cell;
}

std::optional<MeasuredCell> DriveReader::neighbour(Cell::CellInfoCase technology) {
  const MeasuredCell cell = signal(neighbour_signal, technology);
  if (cell.rsrp) return cell;
  if (cell.rsrq) leave_out(neighbour_rsrq, Reason::no_power);
  return {};
}

std::optional<std::uint64_t> DriveReader::id(Cell::CellInfoCase technology) {
  const auto text = present(cell_id);
  if (!text) return {};
  const std::uint64_t largest = largest_id(technology);
  const auto id = number_of<std::uint64_t>(*text, 10);
  if (!id || *id > largest) fail_at(cell_id, concat("a whole number from 0 to ", largest));
  return id;
}

std::optional<std::int32_t> DriveReader::area() {
  const auto text = present(area_code);
  if (!text) return {};
  const bool is_hexadecimal = columns_.area_base == 16;
  const auto area = number_of<std::uint32_t>(*text, columns_.area_base);
  if (area && *area <= std::uint32_t{int32_max}) return static_cast<std::int32_t>(*area);
  fail_at(area_code,
          is_hexadecimal ? "a hexadecimal number from 0 to 7FFFFFFF" : "a whole number from 0 to 2147483647");
}

void DriveReader::leave_out_all() {
  for (std::size_t i = network_mode + 1; i < column_count; ++i) {
    if (present(Column(i))) leave_out(Column(i), Reason::no_service);
  }
}

}  // namespace

Drive read_drive(const std::string& name, std::string text, const import_profile& profile) {
  return DriveReader(name, std::move(text), profile).read();
}

}  // namespace kelvane_hub
