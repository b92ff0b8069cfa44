// How what watches a simulator says something.
#pragma once

#include <functional>
#include <string>

namespace kelvane_hub {

/// Takes one line without newline.
using Say = std::function<void(const std::string& line)>;

}  // namespace kelvane_hub
