// Runs of cellscope as scenarios.
#pragma once

#include <string>

#include "hub/report/run.h"
#include "scenario.pb.h"

namespace kelvane_hub {

struct ImportedRun {
  scenario content;
  std::string summary;  // for standard error
};

/// Turns a run, whose payloads are believed, into the scenario that makes a client report the same again: its states as
/// steps, and as raw events what a hub would not report of itself. `name` stands for the run in errors and in the
/// summary. Throws InputError, "name:line: expected …, found …", where it has no report or one that no scenario can
/// hold.
ImportedRun to_scenario(const Run& run, const std::string& name);

}  // namespace kelvane_hub
