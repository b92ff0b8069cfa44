// How numbers stand in frames and captures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvane_hub {

/// The number in the `size` bytes from `begin` on, at most 8, which `bytes` has.
inline std::uint64_t number_at(std::string_view bytes, std::size_t begin, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = size; i > 0; --i) number = number << 8 | static_cast<unsigned char>(bytes[begin + i - 1]);
  return number;
}

}  // namespace kelvane_hub
