// What is wrong with a command line, in this program's own words.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kelvane_hub {

/// One line, "command: expected …, found …", for an error that parsing `app` has thrown. What was mistyped comes with
/// the nearest word that there is.
std::string usage_error(const CLI::App& app, const CLI::ParseError& error);

}  // namespace kelvane_hub
