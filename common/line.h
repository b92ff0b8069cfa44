// One line of output, built in memory and written at once.
//
// Two threads print and neither takes a lock: a line is one write, so that lines of both may alternate but never mix.
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>

namespace cellscope {

/// Text that grows at its end. Short lines stay on the stack, longer ones (a byte dump) move to the heap.
class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  /// Appends texts (arrays are string literals), characters, integers and enumerations (plain decimal) and booleans (1
  /// or 0), in this order.
  template <class... Items>
  Line& add(const Items&... items) {
    reserve((std::size_t{0} + ... + longest(items)));
    (put(items), ...);
    return *this;
  }

  /// Appends every byte as a decimal number followed by a blank.
  Line& add_byte_dump(std::string_view bytes);

  /// Ends the line, writes it to std::cout and flushes.
  void print();

  /// Ends the line and writes it to standard error.
  void print_diagnostic();

 private:
  template <std::size_t size>
  static std::size_t longest(const char (&)[size]) {
    return size - 1;
  }
  static std::size_t longest(std::string_view text) { return text.size(); }
  static std::size_t longest(char) { return 1; }
  template <class Number>
  requires std::integral<Number> || std::is_enum_v<Number>
  static std::size_t longest(Number) {
    return 20;  // digits and sign of any 64-bit number
  }

  template <std::size_t size>
  void put(const char (&literal)[size]) {
    put(std::string_view(literal, size - 1));
  }
  void put(std::string_view text) {
    std::memcpy(end_, text.data(), text.size());
    end_ += text.size();
  }
  void put(char character) { *end_++ = character; }
  template <class Number>
  requires std::integral<Number> || std::is_enum_v<Number>
  void put(Number number) {
    if constexpr (std::is_same_v<Number, bool>) {
      put(number ? '1' : '0');
    } else if constexpr (std::is_enum_v<Number>) {
      put(static_cast<std::int32_t>(number));
    } else {
      end_ = std::to_chars(end_, limit_, number).ptr;
    }
  }

  void reserve(std::size_t more) {
    if (static_cast<std::size_t>(limit_ - end_) < more) grow(more);
  }
  void grow(std::size_t more);
  std::string_view finish();

  char short_[512];
  std::unique_ptr<char[]> long_;
  char* begin_ = short_;
  char* end_ = short_;
  char* limit_ = short_ + sizeof short_ - 1;  // the newline always has its place
};

/// Prints one line on std::cout, made of `items`.
template <class... Items>
void print_line(const Items&... items) {
  Line().add(items...).print();
}

/// Prints "FUNCTION:LINE, ITEMS" on standard error. `line` is a fixed part of the output, not a place in this source.
template <class... Items>
void diagnostic(std::string_view function, int line, const Items&... items) {
  Line().add(function, ':', line, ", ", items...).print_diagnostic();
}

}  // namespace cellscope
