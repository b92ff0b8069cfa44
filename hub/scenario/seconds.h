// Seconds, as scenarios count time.
#pragma once

#include <chrono>
#include <cmath>
#include <string>

#include "hub/base/party.h"

namespace kelvane_hub {

/// A time in seconds with as many digits as a scenario file needs to tell it from its neighbours.
std::string shown_seconds(double value);

/// Without what adding up, or a clock, leaves in the last digits.
inline double to_microseconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

/// The nearest that the hub's clock can tell; for up to 1e7 seconds.
inline Time to_time(double seconds) { return std::chrono::round<Time>(std::chrono::duration<double>(seconds)); }

}  // namespace kelvane_hub
