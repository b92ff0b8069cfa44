// The other end of a wire: says what the fuzzer says, a piece at a time.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "hub/base/unix_socket.h"

namespace kelvane_hub::fuzz {

/// The first byte says into how many pieces, 1 to 16, the rest is cut.
inline std::vector<std::string_view> pieces_of(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return {};
  const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t length = rest.size() / (data[0] % 16U + 1) + 1;
  std::vector<std::string_view> pieces;
  for (std::size_t at = 0; at < rest.size(); at += length) pieces.push_back(rest.substr(at, length));
  return pieces;
}

inline void say(const UniqueFd& socket, std::string_view piece) {
  (void)send(socket.get(), piece.data(), piece.size(), MSG_NOSIGNAL);
}

}  // namespace kelvane_hub::fuzz
