// Output files of cellscope, read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "hub/report/run.h"

namespace kelvane_hub {

enum class Reading : std::uint8_t {
  tolerant,  // whatever is no report is passed over, and noted in the run
  strict,    // is an error
};

/// Reads `text`: the content of an output file or a saved console session; `name` takes its place in messages. What the
/// main thread of a run prints is skipped wherever it stands. Throws InputError, "name:line: expected …, found …", at
/// the first line that is no report if `reading` is strict, and where there is no report but other text.
Run read_run(std::string_view text, const std::string& name, Reading reading = Reading::tolerant);

/// The same, tolerantly, of whole lines of a file, of which `first` is the number of the first. They need not have a
/// report.
Run read_piece(std::string_view lines, const std::string& name, std::size_t first);

}  // namespace kelvane_hub
