// Runs as observations.
#pragma once

#include <string_view>

#include "hub/messages/observation.h"
#include "hub/report/run.h"
#include "hub/report/run_times.h"

namespace kelvane_hub {

/// What is counted by that clock: "timestamps", "log time" or "no clock".
std::string_view name_of(RunClock clock);

/// The time of the last of a run's events; 0 if there is none.
double last_time(const RunTimes& times);

/// Tells `observer` of each event of `run`, in order, at times that do not fall; `times` are those of `run`, and
/// nothing is later than `end`. Places are lines.
void observe(const Run& run, const RunTimes& times, double end, const Observer& observer);

}  // namespace kelvane_hub
