#include "hub/import/drive_csv.h"

// Recordings are short: reading ahead in a second thread would cost more than it gains.
#define CSV_IO_NO_THREAD
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wstringop-truncation"  // the CSV reader means to cut long file names
#endif
#include <libfccp/csv.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

using std::chrono::sys_seconds;
using Cell = mox_wwan_cell_info;

// ---- what a recording holds ----

enum Column : std::size_t {
  timestamp,
  network_mode,
  rsrp,
  rsrq,
  snr,
  cqi,
  rssi,
  area_code,
  cell_id,
  neighbour_rsrp,
  neighbour_rsrq,
  column_count
};

constexpr std::array<const char*, column_count> column_names{
    "Timestamp", "NetworkMode", "RSRP", "RSRQ", "SNR", "CQI", "RSSI", "LACHEX", "RAWCELLID", "NRxRSRP", "NRxRSRQ"};

struct Mode {
  std::string_view name;
  Cell::CellInfoCase technology;
};

constexpr Mode modes[] = {
    {"5G", Cell::kNr},       {"LTE", Cell::kLte},     {"UMTS", Cell::kWcdma},  {"HSPA", Cell::kWcdma},
    {"HSPA+", Cell::kWcdma}, {"HSDPA", Cell::kWcdma}, {"HSUPA", Cell::kWcdma}, {"GSM", Cell::kGsm},
    {"GPRS", Cell::kGsm},    {"EDGE", Cell::kGsm},
};

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

constexpr std::int32_t int32_min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t int32_max = std::numeric_limits<std::int32_t>::max();

constexpr std::uint64_t largest_id(Cell::CellInfoCase technology) {
  return technology == Cell::kNr ? std::numeric_limits<std::uint64_t>::max() : std::uint64_t{int32_max};
}

// No scenario may be longer.
constexpr std::chrono::seconds longest_drive{10'000'000};

// ---- reading a value ----

bool is_missing(std::string_view text) { return text.empty() || text == "-"; }

/// The number that all of `text` is; empty if it is none or out of range. `format` is the base of a whole number.
template <class Number, class... Format>
std::optional<Number> number(std::string_view text, Format... format) {
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, format...);
  return error == std::errc{} && stop == end ? std::optional(value) : std::nullopt;
}

std::optional<std::int32_t> rounded_number(std::string_view text) {
  const auto value = number<double>(text);
  if (!value) return {};
  const double rounded = std::round(*value);
  // Not a number fails this comparison, too.
  if (!(rounded >= int32_min && rounded <= int32_max)) return {};
  return static_cast<std::int32_t>(rounded);
}

/// The time in "2019.12.02_09.39.35"; empty if that is none.
std::optional<sys_seconds> time_of(std::string_view text) {
  if (!has_form(text, "0000.00.00_00.00.00")) return {};
  const auto part = [text](std::size_t begin, std::size_t size) { return *number<unsigned>(text.substr(begin, size)); };
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(part(0, 4))),
                                         std::chrono::month(part(5, 2)), std::chrono::day(part(8, 2))};
  const std::chrono::hours hours(part(11, 2));
  const std::chrono::minutes minutes(part(14, 2));
  const std::chrono::seconds seconds(part(17, 2));
  if (!date.ok() || hours.count() > 23 || minutes.count() > 59 || seconds.count() > 59) return {};
  return std::chrono::sys_days(date) + hours + minutes + seconds;
}

// ---- reading the file ----

/// The last line always ends: beyond one that does not the CSV reader looks at memory that was never written.
std::string read_text(const std::filesystem::path& path) {
  std::string text = read_file(path);
  if (!text.empty() && !text.ends_with('\n')) text += '\n';
  return text;
}

/// The line of a text by its number, from 1.
std::string_view line_of(std::string_view text, std::size_t line) {
  for (; line > 1; --line) text.remove_prefix(text.find('\n') + 1);
  text = text.substr(0, text.find('\n'));
  if (text.ends_with('\r')) text.remove_suffix(1);
  return text;
}

std::size_t width(std::string_view line) { return static_cast<std::size_t>(std::ranges::count(line, ',')) + 1; }

/// The lines of a recording, one after the other. Each error names the file, the line and what stood there.
class DriveCsv {
 public:
  explicit DriveCsv(const std::filesystem::path& path)
      : name_(path.string()), text_(read_text(path)), reader_("", text_.data(), text_.data() + text_.size()) {
    reject_nul();
    read_header();
  }

  /// Goes to the next row; false at the end.
  bool next();

  std::string_view text(Column column) const { return cells_[column]; }

  /// What `read` makes of the text in `column`; empty if the value is missing.
  template <class Read>
  auto value(Column column, std::string_view expected, Read read) const -> decltype(read(std::string_view())) {
    if (is_missing(text(column))) return {};
    const auto value = read(text(column));
    if (!value) fail_at(column, expected);
    return value;
  }

  [[noreturn]] void fail_at(Column column, std::string_view expected) const {
    fail(line(), std::string(expected) + " in " + column_names[column], quoted(text(column)));
  }
  [[noreturn]] void fail_at_end(std::string_view expected) const { fail(line() + 1, expected, end_of_file); }

 private:
  using Reader = io::CSVReader<column_count, io::trim_chars<' ', '\t'>, io::no_quote_escape<','>, io::throw_on_overflow,
                               io::empty_line_comment>;

  static constexpr std::string_view end_of_file = "'end of file'";

  void reject_nul() const;
  void read_header();
  std::size_t line() const { return reader_.get_file_line(); }
  std::string_view whole_line() const { return line_of(text_, line()); }
  [[noreturn]] void fail(std::size_t line, std::string_view expected, std::string_view found) const;
  [[noreturn]] void fail_too_long() const { fail(line(), "a line shorter than 16 MiB", quoted(whole_line())); }
  [[noreturn]] void fail_width() const;

  std::string name_;
  std::string text_;  // kept for errors: the reader takes its own copy apart
  Reader reader_;
  std::size_t header_line_ = 0;
  std::array<const char*, column_count> cells_{};
};

void DriveCsv::fail(std::size_t line, std::string_view expected, std::string_view found) const {
  std::string message = name_ + ':' + std::to_string(line);
  message.append(": expected ").append(expected).append(", found ").append(found);
  throw InputError(message);
}

void DriveCsv::fail_width() const {
  const std::size_t expected = width(line_of(text_, header_line_));
  fail(line(), std::to_string(expected) + " columns", "'" + std::to_string(width(whole_line())) + "'");
}

// To the reader a NUL is the end of a line: what follows would be lost.
void DriveCsv::reject_nul() const {
  const auto nul = std::ranges::find(text_, '\0');
  if (nul == text_.end()) return;
  fail(static_cast<std::size_t>(std::count(text_.begin(), nul, '\n')) + 1, "text", quoted(std::string_view("\0", 1)));
}

void DriveCsv::read_header() try {
  std::apply([this](auto... names) { reader_.read_header(io::ignore_extra_column, names...); }, column_names);
  header_line_ = line();
} catch (const io::error::header_missing&) {
  fail(1, "a header", end_of_file);
} catch (const io::error::missing_column_in_header& error) {
  fail(line(), std::string("a column ") + error.column_name, quoted(whole_line()));
} catch (const io::error::duplicated_column_in_header& error) {
  fail(line(), std::string("one column ") + error.column_name, quoted(whole_line()));
} catch (const io::error::line_length_limit_exceeded&) {
  fail_too_long();
}

bool DriveCsv::next() try {
  return std::apply([this](auto&... cells) { return reader_.read_row(cells...); }, cells_);
} catch (const io::error::too_few_columns&) {
  fail_width();
} catch (const io::error::too_many_columns&) {
  fail_width();
} catch (const io::error::line_length_limit_exceeded&) {
  fail_too_long();
}

// ---- reading a row ----

Cell::CellInfoCase technology_in(const DriveCsv& csv) {
  const auto* const mode = std::ranges::find(modes, csv.text(network_mode), &Mode::name);
  if (mode != std::end(modes)) return mode->technology;
  csv.fail_at(network_mode, "5G, LTE, UMTS, HSPA, HSPA+, HSDPA, HSUPA, GSM, GPRS or EDGE");
}

template <std::size_t Count>
MeasuredCell signal_in(const DriveCsv& csv, const SignalColumn (&columns)[Count]) {
  MeasuredCell cell;
  for (const SignalColumn& signal : columns) {
    cell.*signal.value = csv.value(signal.column, "a 32-bit number", rounded_number);
  }
  return cell;
}

std::optional<std::uint64_t> id_in(const DriveCsv& csv, Cell::CellInfoCase technology) {
  const std::uint64_t largest = largest_id(technology);
  return csv.value(cell_id, "a whole number from 0 to " + std::to_string(largest), [largest](std::string_view text) {
    const auto id = number<std::uint64_t>(text, 10);
    return id && *id <= largest ? id : std::nullopt;
  });
}

std::optional<std::int32_t> area_in(const DriveCsv& csv) {
  return csv.value(area_code, "a hexadecimal number from 0 to 7FFFFFFF", [](std::string_view text) {
    const auto area = number<std::uint32_t>(text, 16);
    return area && *area <= std::uint32_t{int32_max} ? std::optional(static_cast<std::int32_t>(*area)) : std::nullopt;
  });
}

MeasuredCell serving_in(const DriveCsv& csv, Cell::CellInfoCase technology) {
  MeasuredCell cell = signal_in(csv, serving_signal);
  cell.id = id_in(csv, technology);
  cell.area = area_in(csv);
  return cell;
}

std::optional<MeasuredCell> neighbour_in(const DriveCsv& csv) {
  const MeasuredCell cell = signal_in(csv, neighbour_signal);
  return cell.rsrp ? std::optional(cell) : std::nullopt;
}

sys_seconds time_in(const DriveCsv& csv) {
  if (const auto time = time_of(csv.text(timestamp))) return *time;
  csv.fail_at(timestamp, "a time YYYY.MM.DD_hh.mm.ss");
}

std::chrono::seconds time_since(sys_seconds first, std::chrono::seconds previous, const DriveCsv& csv) {
  const std::chrono::seconds time = time_in(csv) - first;
  if (time < previous) csv.fail_at(timestamp, "a time not before that of the row above");
  if (time > longest_drive) csv.fail_at(timestamp, "a time at most 10000000 seconds after the first");
  return time;
}

}  // namespace

std::vector<DriveRow> read_drive_csv(const std::filesystem::path& path) {
  DriveCsv csv(path);
  if (!csv.next()) csv.fail_at_end("a row");
  const sys_seconds first = time_in(csv);
  std::vector<DriveRow> rows;
  do {
    const auto time = time_since(first, rows.empty() ? std::chrono::seconds(0) : rows.back().time, csv);
    const auto technology = technology_in(csv);
    rows.push_back({time, technology, serving_in(csv, technology), neighbour_in(csv)});
  } while (csv.next());
  return rows;
}

}  // namespace kelvane_hub
