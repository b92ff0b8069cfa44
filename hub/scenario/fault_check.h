// What can be wrong with a fault whose form is right.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "scenario.pb.h"

namespace kelvane_hub {

/// What a fault can be about, beside the messages that there always are.
struct FaultSurroundings {
  std::set<std::string> data_types;    // of the hub's sensors
  std::set<std::uint32_t> raw_events;  // ids that the scenario has made up
};

/// A line for each mistake, "expected …, found …".
std::vector<std::string> mistakes_in(const scenario_fault& fault, const FaultSurroundings& surroundings);

}  // namespace kelvane_hub
