// Runs as the commands are given them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "hub/report/run.h"
#include "hub/report/run_reader.h"

namespace kelvane_hub {

/// Reads the output file of a run or a saved console session; "-" is standard input. Absent values of its messages are
/// those of the payloads. Says on standard error, once of each kind, what is odd in it: lines that are no report,
/// broken reports, a report or a line at the end that is not whole. Throws InputError, if `reading` is strict for
/// these, too, but the last.
Run load_run(const std::string& input, Reading reading = Reading::tolerant);

/// The same of `text`; `file` takes its place in messages.
Run read_run_and_tell(const std::string& text, const std::string& file, Reading reading);

/// Of a run that was read from `file`: makes absent what its payloads do not have, and says what is odd.
void believe_and_tell(Run& run, const std::string& file);

/// Says that the report that begins in `line` is cut off.
void tell_cut_off(const std::string& file, std::size_t line);
/// The same of the run `text`, to be played again; `name` stands for it in messages. A broken report is an InputError,
/// and lines that tell of events are not said to be skipped.
Run load_whole_run(std::string_view text, const std::string& name);

}  // namespace kelvane_hub
