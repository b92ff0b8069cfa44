// When what a run reports happens in a scenario.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hub/report/run.h"
#include "hub/report/run_notes.h"
#include "hub/report/run_times.h"

namespace kelvane_hub {

struct RunPace {
  std::vector<double> at;  // of each event, in seconds of the scenario: from 0 to 10,000,000, none before the last
  /// The subscriptions whose cells are reported at the beginning, as a hub does of each that its scenario speaks of.
  std::set<std::uint32_t> subscriptions;
  /// The first and the last of events, one after the other, whose clock was before that of the event in front of them.
  std::vector<std::pair<std::size_t, std::size_t>> set_back;
};

/// Of a run with those times. Of a streaming sensor whose rate is known each report gets what it tells half a period
/// before it is due, so that a client is told the same at that rate. Throws InputError, "name:line: expected …, found
/// …", where a run is too long.
RunPace pace_of(const Run& run, const RunTimes& times, const Conduct& conduct, const std::string& name);

}  // namespace kelvane_hub
