// Tables for a terminal.
#pragma once

#include <string>
#include <vector>

namespace kelvane_hub {

/// Rows of cells of ASCII, aligned: the first column to the left, all others to the right. A blank line stands before
/// it and every row is indented.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> header) : rows_{std::move(header)} {}

  /// As many cells as the header has, or fewer.
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

  /// Empty if there is nothing but a header.
  std::string text() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace kelvane_hub
