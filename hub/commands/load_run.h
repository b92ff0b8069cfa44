// Runs as the commands are given them.
#pragma once

#include <string>

#include "hub/report/run.h"

namespace kelvane_hub {

/// Reads the output file of a run; "-" is standard input. Warns on standard error of a report at the end that is not
/// whole. Throws InputError.
Run load_run(const std::string& file);

}  // namespace kelvane_hub
