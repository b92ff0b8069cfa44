// Text as rows of cells: RFC 4180, and what people make of it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane_hub {

/// The rows of a text, one after the other. What separates cells (comma, semicolon or tab) is what the first row has
/// most of. Blank lines are skipped, as is a byte order mark. Blanks and tabs around a cell do not count, quotes may
/// hold separators, line ends and doubled quotes. Errors are InputErrors, "name:line: expected …, found …".
class CsvReader {
 public:
  /// `name` stands before the line in errors. Throws for a NUL.
  CsvReader(std::string name, std::string text);

  /// Goes to the next row; false at the end. Throws for quotes that do not end, or that something follows.
  bool next();

  const std::vector<std::string>& cells() const { return cells_; }
  char separator() const { return separator_; }

  /// The line in which the row begins, from 1; at the end that after the last.
  std::size_t line() const { return line_; }

  /// The row as it stands in the text.
  std::string_view row() const;

  [[noreturn]] void fail(std::string_view expected, std::string_view found) const;

 private:
  void reject_nul();
  void find_separator();
  bool at_end_of_row() const { return at_ == text_.size() || text_[at_] == '\n'; }
  bool take(char character);
  void read_row();
  std::string read_cell();
  std::string read_quoted();

  std::string name_;
  std::string text_;
  char separator_ = ',';
  std::size_t at_ = 0;
  std::size_t begin_ = 0;  // of the row, as at_
  std::size_t line_ = 0;
  std::size_t next_line_ = 1;
  std::vector<std::string> cells_;
};

}  // namespace kelvane_hub
