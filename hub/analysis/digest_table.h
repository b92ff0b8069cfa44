// Measures for people.
#pragma once

#include <string>

#include "hub/analysis/digest.h"

namespace kelvane_hub {

/// The measures of a file as tables for a terminal of 80 columns. Long lists are cut, which is said.
std::string table_of(const EvaluatedFile& file, const Digest& digest);

}  // namespace kelvane_hub
