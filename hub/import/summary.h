// What was read of a recording, and what was not.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hub/import/columns.h"

namespace kelvane_hub {

/// Why a value of a row went into no cell.
enum class Reason : std::size_t { not_measured, code, no_field, no_power, no_service, count };

struct LeftOut {
  std::size_t count = 0;
  std::size_t first_line = 0;
};

/// Rows, each below the other, whose clock was before that of the row above them.
struct SetBack {
  std::size_t first_line;
  std::size_t last_line;
  std::size_t last_row;  // counted from 1
};

class Summary {
 public:
  /// `recording` is the path as errors have it.
  explicit Summary(std::string recording) : recording_(std::move(recording)) {}

  /// A row that happens at `time` since the first. Rows come in their order.
  void add_row(std::string_view mode, std::chrono::nanoseconds time);
  /// Of the next row, which stands in `line`.
  void set_back(std::size_t line);
  void leave_out(Column column, Reason reason, std::size_t line);
  void set_columns(Columns columns) { columns_ = std::move(columns); }

  /// Where it all comes from, without folders: "drive.csv: 1155 rows in 1162 s".
  std::string origin() const;

  /// All of it for standard error, each line with the recording's path before it.
  std::string text() const;

 private:
  using LeftOutOfColumn = std::array<LeftOut, static_cast<std::size_t>(Reason::count)>;

  std::string extent() const;
  std::string modes() const;
  std::string missing_columns() const;
  std::string left_out_of(Column column) const;

  std::string recording_;
  std::size_t rows_ = 0;
  std::chrono::nanoseconds span_{};
  std::vector<std::pair<std::string_view, std::size_t>> modes_;  // in the order of their first rows
  std::array<LeftOutOfColumn, column_count> left_out_;
  std::vector<SetBack> set_back_;
  Columns columns_;
};

/// Nanoseconds as the seconds of a scenario.
double in_seconds(std::chrono::nanoseconds time);

}  // namespace kelvane_hub
