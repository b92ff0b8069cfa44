#include "hub/base/hex.h"

namespace kelvane_hub {

std::string in_hex(std::string_view bytes, std::string_view separator) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string hex;
  hex.reserve((2 + separator.size()) * bytes.size());
  for (const char byte : bytes) {
    if (!hex.empty()) hex += separator;
    hex += digits[static_cast<unsigned char>(byte) >> 4];
    hex += digits[static_cast<unsigned char>(byte) & 15];
  }
  return hex;
}

}  // namespace kelvane_hub
