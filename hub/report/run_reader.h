// Output files of cellscope, read.
#pragma once

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

}  // namespace kelvane_hub
