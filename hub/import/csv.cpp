#include "hub/import/csv.h"

#include <algorithm>
#include <array>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::string_view padding = " \t\r";

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(padding), text.size()));
  return text.substr(0, text.find_last_not_of(padding) + 1);
}

/// Of the first row: quotes may hold its characters and ends of lines.
std::size_t count_in_row(std::string_view text, char counted) {
  std::size_t count = 0;
  bool in_quotes = false;
  for (const char character : text) {
    if (character == '"') in_quotes = !in_quotes;
    if (in_quotes) continue;
    if (character == '\n') break;
    if (character == counted) ++count;
  }
  return count;
}

}  // namespace

CsvReader::CsvReader(std::string name, std::string text) : name_(std::move(name)), text_(std::move(text)) {
  reject_nul();
  if (text_.starts_with(byte_order_mark)) at_ = byte_order_mark.size();
  find_separator();
}

void CsvReader::fail(std::string_view expected, std::string_view found) const {
  throw InputError(concat(name_, ':', line_, ": expected ", expected, ", found ", found));
}

void CsvReader::reject_nul() {
  const auto nul = std::ranges::find(text_, '\0');
  if (nul == text_.end()) return;
  line_ = static_cast<std::size_t>(std::count(text_.begin(), nul, '\n')) + 1;
  fail("text", quoted(std::string_view("\0", 1)));
}

void CsvReader::find_separator() {
  std::string_view first = std::string_view(text_).substr(at_);
  first.remove_prefix(std::min(first.find_first_not_of(" \t\r\n"), first.size()));
  constexpr std::array separators{',', ';', '\t'};
  separator_ = *std::ranges::max_element(separators, {}, [&](char each) { return count_in_row(first, each); });
}

bool CsvReader::next() {
  while (at_ < text_.size()) {
    begin_ = at_;
    line_ = next_line_++;
    read_row();
    const bool is_blank = trimmed(row()).empty();
    take('\n');
    if (!is_blank) return true;
  }
  line_ = next_line_;
  return false;
}

std::string_view CsvReader::row() const {
  std::string_view row = std::string_view(text_).substr(begin_, at_ - begin_);
  if (row.ends_with('\n')) row.remove_suffix(1);
  if (row.ends_with('\r')) row.remove_suffix(1);
  return row;
}

bool CsvReader::take(char character) {
  const bool is_there = at_ < text_.size() && text_[at_] == character;
  if (is_there) ++at_;
  return is_there;
}

void CsvReader::read_row() {
  cells_.clear();
  do cells_.push_back(read_cell());
  while (take(separator_));
}

std::string CsvReader::read_cell() {
  while (separator_ != '\t' ? take(' ') || take('\t') : take(' ')) continue;
  if (take('"')) return read_quoted();
  const std::size_t begin = at_;
  while (!at_end_of_row() && text_[at_] != separator_) ++at_;
  return std::string(trimmed(std::string_view(text_).substr(begin, at_ - begin)));
}

std::string CsvReader::read_quoted() {
  std::string cell;
  do {
    const std::size_t quote = text_.find('"', at_);
    if (quote == std::string::npos) fail("a closing quote", "'end of file'");
    // Of two quotes the first stands for itself: it is kept if the loop goes on.
    cell += text_.substr(at_, quote + 1 - at_);
    at_ = quote + 1;
  } while (take('"'));
  cell.pop_back();
  next_line_ += static_cast<std::size_t>(std::ranges::count(cell, '\n'));
  const std::size_t after = at_;
  while (!at_end_of_row() && text_[at_] != separator_) ++at_;
  const std::string_view rest = trimmed(std::string_view(text_).substr(after, at_ - after));
  if (!rest.empty()) fail("a separator after a closing quote", quoted(rest));
  return std::string(trimmed(cell));
}

}  // namespace kelvane_hub
