// What a hub is doing.
#pragma once

#include <string>

#include "hub/testbench/performance.h"
#include "hub/testbench/tally.h"

namespace kelvane_hub {

/// "running", "paused", or what it waits for.
std::string state_of(const Performance& performance);

/// In lines: where the scenario is, what was asked and told, and of each session what it has configured, is registered
/// for, and has set as thresholds.
std::string status_of(const Performance& performance, const Tally& tally, Time now);

}  // namespace kelvane_hub
