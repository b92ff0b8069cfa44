// Output files of cellscope, read.
#pragma once

#include <string>
#include <string_view>

#include "hub/report/run.h"

namespace kelvane_hub {

/// Reads the output file whose content is `text`; lines of progress are skipped wherever they stand. `name` takes the
/// file's place in messages. Throws InputError, "name:line: expected …, found …", at a line that is no report.
Run read_run(std::string_view text, const std::string& name);

}  // namespace kelvane_hub
