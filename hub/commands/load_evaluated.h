// Files of any kind as the commands are given them.
#pragma once

#include <string>

#include "hub/analysis/evaluated_file.h"

namespace kelvane_hub {

/// Reads a run, a scenario, a capture or a drive ("-": standard input), whichever it looks like; a drive with the
/// columns of no profile. Says on standard error what is odd in it. Throws InputError.
EvaluatedFile load_evaluated(const std::string& input);

}  // namespace kelvane_hub
