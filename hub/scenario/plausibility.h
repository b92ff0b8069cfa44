// What a scenario says that can hardly be meant.
#pragma once

#include <string>
#include <vector>

#include "hub/scenario/mistakes.h"
#include "hub/scenario/text_fields.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// What is odd about the cell: its technology, then values that no receiver measures.
std::vector<std::string> oddities_of(const mox_wwan_cell_info& cell);

/// Adds a warning for each cell of the step whose technology does not exist, or is another one than its parts are of,
/// and for each value that no receiver measures. `body` is the text that `step` was parsed from, with its brackets.
void check_plausibility(const scenario_step& step, const TextPart& body, Mistakes& warnings);

}  // namespace kelvane_hub
