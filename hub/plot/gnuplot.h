// The program that draws.
#pragma once

#include <chrono>
#include <string>

namespace kelvane_hub {

/// Runs gnuplot with this script and returns what it draws on its standard output. Throws InputError if it is not
/// installed, fails, with what it said, or has not ended after `patience`. It does not outlive this process.
std::string run_gnuplot(const std::string& script, std::chrono::milliseconds patience);

}  // namespace kelvane_hub
