// Runs as the commands are given them.
#pragma once

#include <string>

#include "hub/report/run.h"
#include "hub/report/run_reader.h"

namespace kelvane_hub {

/// Reads the output file of a run or a saved console session; "-" is standard input. Absent values of its messages are
/// those of the payloads. Says on standard error, once of each kind, what is odd in it: lines that are no report,
/// broken reports, a report or a line at the end that is not whole. Throws InputError, if `reading` is strict for
/// these, too, but the last.
Run load_run(const std::string& input, Reading reading = Reading::tolerant);

}  // namespace kelvane_hub
