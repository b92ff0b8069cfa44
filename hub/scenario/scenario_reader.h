// From the text of a scenario to what it says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hub/scenario/mistakes.h"
#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

/// As deep as clients parse messages unless they say otherwise. No text is parsed deeper: each level takes stack.
inline constexpr int deepest_nesting = 100;

/// Reads and checks the scenario in `text`, which came from the file `name`; sensors are only those that it lists.
/// What is shorthand is expanded, and only the part that is to be played is kept. Adds what can hardly be meant to
/// `doubts`, unless that is null. What varies does so by `seed`; absent: the scenario's. Throws InputError, one line
/// for each mistake.
///
/// Parses a step at a time, so that memory grows by what a step says, not by what a parser makes of it.
PackedScenario read_scenario(const std::string& text, const std::string& name, Mistakes* doubts,
                             std::optional<std::uint64_t> seed = {});

}  // namespace kelvane_hub
