#include "hub/base/concat.h"

#include <algorithm>
#include <cstddef>

namespace kelvane_hub {
namespace {

constexpr std::size_t longest_shown = 40;

bool is_digit(char character) { return character >= '0' && character <= '9'; }

bool is_printable(char character) { return character >= ' ' && character <= '~'; }

std::string escaped(char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  const auto code = static_cast<unsigned char>(byte);
  return {'\\', 'x', digits[code / 16U], digits[code % 16U]};
}

}  // namespace

std::string quoted(std::string_view text) {
  std::string shown = "'";
  for (const char byte : text.substr(0, longest_shown)) {
    shown += is_printable(byte) ? std::string(1, byte) : escaped(byte);
  }
  return shown + (text.size() > longest_shown ? "...'" : "'");
}

bool has_form(std::string_view text, std::string_view form) {
  return std::ranges::equal(text, form, [](char character, char expected) {
    return expected == '0' ? is_digit(character) : character == expected;
  });
}

}  // namespace kelvane_hub
