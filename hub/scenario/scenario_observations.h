// Scenarios as observations.
#pragma once

#include "hub/messages/observation.h"
#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

/// Where a scenario that is played once ends: where it would begin anew, or with its last step; seconds.
double end_of(const PackedScenario& played);

/// Tells `observer` of each event of `played`, as a hub sends it, in order, by its own time. Places are steps. A modem
/// always knows its cells, if only that there are none: so it is told from the beginning, where no step is, of each
/// subscription whose cells come later, just before these.
void observe(const PackedScenario& played, const Observer& observer);

}  // namespace kelvane_hub
