#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace kelvane_hub {

/// The number that all of `text` is; none if it is no number or out of the type's range. `format` is the base of a
/// whole number.
template <class Number, class... Format>
std::optional<Number> number_of(std::string_view text, Format... format) {
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, format...);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

}  // namespace kelvane_hub
