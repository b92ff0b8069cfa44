#pragma once

#include <string>

namespace kelvane_hub {

/// A time in seconds with as many digits as a scenario file needs to tell it from its neighbours.
std::string shown_seconds(double value);

}  // namespace kelvane_hub
