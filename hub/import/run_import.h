// Runs of cellscope as scenarios.
#pragma once

#include <string>
#include <vector>

#include "hub/import/run_pace.h"
#include "hub/import/run_sensors.h"
#include "hub/report/run.h"
#include "hub/report/run_notes.h"
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

/// A run, and what was found out about it.
struct FoundRun {
  const Run& run;
  std::string name;
  Conduct conduct;
  std::vector<RunRefusal> refusals;
  RunPace pace;
  Sensors sensors;                   // none: those of the built-in scenario
  std::vector<std::string> remarks;  // for the summary
};

/// The same of a run that was found in something else.
ImportedRun to_scenario(const FoundRun& found);

}  // namespace kelvane_hub
