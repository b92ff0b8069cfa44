// Measures for machines.
#pragma once

#include <string>

#include "hub/analysis/digest.h"

namespace kelvane_hub {

/// The measures of a file as a JSON object on a line of its own.
std::string json_of(const EvaluatedFile& file, const Digest& digest);

}  // namespace kelvane_hub
