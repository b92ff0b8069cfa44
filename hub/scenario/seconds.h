#pragma once

#include <string>

#include "hub/scenario/step_source.h"

namespace kelvane_hub {

/// A time in seconds with as many digits as a scenario file needs to tell it from its neighbours.
std::string shown_seconds(double value);

/// To the millisecond: "1.500".
std::string to_milliseconds(ScenarioTime time);

/// The same with its unit: "1.500 s".
std::string in_seconds(ScenarioTime time);

}  // namespace kelvane_hub
