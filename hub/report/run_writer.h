// Runs for machines.
#pragma once

#include <string>

#include "hub/report/run.h"

namespace kelvane_hub {

/// An event a line: an object with the keys "event" (its kind), "line", then what the report says, by the names of the
/// messages' fields.
std::string to_json(const Run& run);

/// Comma-separated: a header, and a row for each cell, each call, or an event that has neither. A value that a row does
/// not have is empty.
std::string to_csv(const Run& run);

}  // namespace kelvane_hub
