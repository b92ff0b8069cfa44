// Takes a line apart, from left to right.
#pragma once

#include <charconv>
#include <string>
#include <string_view>

namespace kelvane_hub {

/// One line of a file. Whatever is not as expected is an InputError, "file:line: expected …, found …". Refers to what
/// it is given.
class LineScanner {
 public:
  LineScanner(std::string_view file, std::size_t line, std::string_view text) : file_(file), line_(line), rest_(text) {}

  std::size_t line() const { return line_; }
  std::string_view rest() const { return rest_; }

  bool starts_with(std::string_view text) const { return rest_.starts_with(text); }

  /// Takes exactly `expected`.
  void take(std::string_view expected);

  /// Takes a decimal number that a Number can hold; it may have a minus sign if it is a signed one.
  template <class Number>
  Number take_number();

  /// Nothing may be left.
  void take_end();

  [[noreturn]] void fail(const std::string& expected) const;

 private:
  std::string_view file_;
  std::size_t line_;
  std::string_view rest_;
};

template <class Number>
Number LineScanner::take_number() {
  Number number{};
  const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
  if (error != std::errc()) fail("a whole number of " + std::to_string(8 * sizeof(Number)) + " bits");
  rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
  return number;
}

}  // namespace kelvane_hub
