// The state that a scenario's steps have brought a modem into.
#pragma once

#include <cstddef>
#include <vector>

#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

/// Whence a modem comes to a step.
struct StatesWanted {
  bool again = false;         // the whole scenario was played before its present round
  std::size_t forget_to = 0;  // of the steps up to this one something may be left that is not so yet
};

/// Steps that bring a modem into the state that it has before step `next` of `played`: the last of the cells, calls and
/// RRC states of each subscription, in order; of what is left but not so yet, that there is none. In time that grows
/// with the number of steps at most.
std::vector<scenario_step> states_before(const PackedScenario& played, std::size_t next, StatesWanted wanted);

}  // namespace kelvane_hub
