#include "hub/analysis/evaluated_file.h"

#include "hub/report/run_observations.h"
#include "hub/report/run_times.h"
#include "hub/scenario/scenario_observations.h"

namespace kelvane_hub {

Extent observe(const EvaluatedFile& file, const Observer& observer) {
  if (const auto* const played = std::get_if<PackedScenario>(&file.content)) {
    observe(*played, observer);
    return {file.kind == FileKind::drive ? "the time of its rows" : "scenario time", end_of(*played)};
  }
  if (const auto* const captured = std::get_if<CapturedRun>(&file.content)) {
    const double end = last_time(captured->times);
    observe(captured->run, captured->times, end, observer);
    return {"the time of its records", end};
  }
  const Run& run = std::get<Run>(file.content);
  const RunTimes times = times_of(run);
  const double end = last_time(times);
  observe(run, times, end, observer);
  return {std::string(name_of(times.clock)), end};
}

const char* place_name(FileKind kind) {
  switch (kind) {
    case FileKind::scenario:
      return "step";
    case FileKind::run:
      return "line";
    case FileKind::drive:
      return "row";
    case FileKind::capture:
      return "record";
  }
  return "";
}

}  // namespace kelvane_hub
