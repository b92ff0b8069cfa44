// Seconds, as scenarios count time.
#pragma once

#include <chrono>
#include <cmath>
#include <string>

#include "hub/base/party.h"
#include "hub/scenario/step_source.h"

namespace kelvane_hub {

/// A time in seconds with as many digits as a scenario file needs to tell it from its neighbours.
std::string shown_seconds(double value);

/// Without what adding up, or a clock, leaves in the last digits.
inline double to_microseconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

/// The nearest that the hub's clock can tell; for up to 1e7 seconds.
inline Time to_time(double seconds) { return std::chrono::round<Time>(std::chrono::duration<double>(seconds)); }
/// To the millisecond: "1.500".
std::string to_milliseconds(ScenarioTime time);

/// The same with its unit: "1.500 s".
std::string in_seconds(ScenarioTime time);

}  // namespace kelvane_hub
