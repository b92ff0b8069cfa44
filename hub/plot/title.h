// File names as titles.
#pragma once

#include <string>

namespace kelvane_hub {

/// `name` as UTF-8 that every picture can show: U+FFFD for bytes and characters that no picture can, cut in its middle
/// if it is too long.
std::string title_of(const std::string& name);

}  // namespace kelvane_hub
