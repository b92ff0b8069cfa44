// Bytes for a person to read.
#pragma once

#include <string>
#include <string_view>

namespace kelvane_hub {

/// Two digits a byte, with `separator` between bytes.
std::string in_hex(std::string_view bytes, std::string_view separator = "");

}  // namespace kelvane_hub
