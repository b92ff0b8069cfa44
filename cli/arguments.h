// The arguments of automation mode.
#pragma once

#include <map>
#include <string>

namespace cellscope {

/// Argument values by key.
using ArgumentMap = std::map<std::string, std::string>;

/// Takes every argument with a "=" apart at the first one, echoes it on std::cout and returns them all; of a repeated
/// key the last value holds. Arguments without "=" are skipped.
ArgumentMap strToMap(int argc, char** argv);

/// The value of `key`, or "-1" if it was not given.
std::string argument_or_default(const ArgumentMap& arguments, const std::string& key);

/// Prints the usage text on std::cout; it ends with `first_argument`.
void print_usage(const std::string& first_argument);

}  // namespace cellscope
