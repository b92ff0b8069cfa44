// Runs for machines.
#pragma once

#include <string>

#include "hub/report/run.h"
#include "hub/report/run_times.h"

namespace kelvane_hub {

/// An event a line: an object with the keys "event" (its kind), "line", "time", "earliest", "latest" (seconds since
/// 1970), then what the report says, by the names of the messages' fields. What a cell or a report of cells does not
/// have is null, and so is a time that nothing tells. `times` are those of `run`.
std::string to_json(const Run& run, const RunTimes& times);

/// Comma-separated: a header, and a row for each cell, each call, or an event that has neither. A value that a row does
/// not have is empty.
std::string to_csv(const Run& run, const RunTimes& times);

}  // namespace kelvane_hub
