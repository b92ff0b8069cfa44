#include "hub/import/summary.h"

#include <algorithm>
#include <filesystem>
#include <ratio>

#include "hub/base/concat.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

// In the order of Reason.
constexpr std::array<std::string_view, static_cast<std::size_t>(Reason::count)> reasons{
    "not measured", "with a code for \"not measured\"", "that the cell type has no field for",
    "of a neighbour without power", "in a row without service"};

}  // namespace

double in_seconds(std::chrono::nanoseconds time) {
  return static_cast<double>(time.count()) / static_cast<double>(std::nano::den);
}

void Summary::add_row(std::string_view mode, std::chrono::nanoseconds time) {
  ++rows_;
  span_ = time;
  const auto known = std::ranges::find(modes_, mode, &decltype(modes_)::value_type::first);
  if (known == modes_.end()) {
    modes_.emplace_back(mode, 1);
  } else {
    ++known->second;
  }
}

void Summary::set_back(std::size_t line) {
  const std::size_t row = rows_ + 1;
  if (set_back_.empty() || set_back_.back().last_row != rows_) set_back_.push_back({line, line, row});
  set_back_.back().last_line = line;
  set_back_.back().last_row = row;
}

void Summary::leave_out(Column column, Reason reason, std::size_t line) {
  LeftOut& left_out = left_out_[column][static_cast<std::size_t>(reason)];
  if (left_out.count++ == 0) left_out.first_line = line;
}

std::string Summary::extent() const {
  return concat(": ", rows_, rows_ == 1 ? " row in " : " rows in ", shown_seconds(in_seconds(span_)), " s");
}

std::string Summary::origin() const { return std::filesystem::path(recording_).filename().string() + extent(); }

std::string Summary::modes() const {
  std::string text;
  for (const auto& [name, count] : modes_) text += concat(text.empty() ? ": " : ", ", count, " ", name);
  return text;
}

std::string Summary::missing_columns() const {
  std::string names;
  for (const FoundColumn& column : columns_.found) {
    if (!column.position) names += (names.empty() ? ": no column " : ", ") + column.name;
  }
  return names.empty() ? "" : recording_ + names + '\n';
}

std::string Summary::left_out_of(Column column) const {
  std::string text;
  for (std::size_t i = 0; i < reasons.size(); ++i) {
    const LeftOut& left_out = left_out_[column][i];
    if (left_out.count == 0) continue;
    text += concat(text.empty() ? ": " : ", ", left_out.count, " ", reasons[i], " (first in line ", left_out.first_line,
                   ")");
  }
  return text.empty() ? "" : concat(recording_, ": left out of ", columns_.found[column].name, text, '\n');
}

std::string Summary::text() const {
  std::string text = concat(recording_, extent(), modes(), '\n', missing_columns());
  for (std::size_t i = 0; i < column_count; ++i) text += left_out_of(Column(i));
  for (const SetBack& rows : set_back_) {
    const bool is_one = rows.first_line == rows.last_line;
    text += concat(recording_, ':', rows.first_line, ": the clock went back: ",
                   is_one ? "the row happens" : concat("the rows up to line ", rows.last_line, " happen"),
                   " at the time of the row above\n");
  }
  return text;
}

}  // namespace kelvane_hub
