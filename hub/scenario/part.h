// A part of a scenario.
#pragma once

#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

/// What is left of `whole` if only its part from `start` on, `duration` long, is played, as its head says: the state
/// that the steps before have brought, at 0, and the steps of the part, by seconds since its beginning.
PackedScenario part_of(const PackedScenario& whole);

}  // namespace kelvane_hub
