// The program that draws.
#pragma once

#include <string>

namespace kelvane_hub {

/// Runs gnuplot with this script and returns what it draws on its standard output. Throws InputError if it is not
/// installed or fails, with what it said.
std::string run_gnuplot(const std::string& script);

}  // namespace kelvane_hub
