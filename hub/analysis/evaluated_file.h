// A file that can be summed up or compared, whatever its kind.
#pragma once

#include <string>
#include <variant>

#include "hub/messages/observation.h"
#include "hub/report/captured_run.h"
#include "hub/report/file_kind.h"
#include "hub/report/run.h"
#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

struct EvaluatedFile {
  std::string name;  // for messages
  FileKind kind = FileKind::run;
  std::variant<Run, PackedScenario, CapturedRun> content;  // a drive is a scenario with a step a row
};

/// Over what an EvaluatedFile goes.
struct Extent {
  std::string clock;  // what its time is counted by: "timestamps", "log time", "no clock", "scenario time", "the time
                      // of its rows" or "the time of its records"
  double end = 0;     // seconds from the first report of a run or a capture, or the beginning of a scenario
};

/// Tells `observer` of all that was seen, in order.
Extent observe(const EvaluatedFile& file, const Observer& observer);

/// What a place in such a file is: "line", "step", "row" or "record".
const char* place_name(FileKind kind);

}  // namespace kelvane_hub
