#include "hub/commands/load_evaluated.h"

#include <cstdio>

#include "hub/base/files.h"
#include "hub/commands/load_run.h"
#include "hub/import/drive_import.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {
namespace {

PackedScenario packed_drive(const std::string& name, const std::string& text) {
  const Drive drive = read_drive(name, text, {});
  (void)std::fputs(drive.summary.text().c_str(), stderr);
  const scenario steps = to_scenario(drive, {});
  PackedScenario packed;
  for (const scenario_step& step : steps.steps()) packed.add_step(step);
  return packed;
}

CapturedRun captured_run(const std::string& name, const std::string& bytes) {
  const Capture capture = read_capture(bytes, name);
  if (!capture.cut_off.empty()) (void)std::fputs((capture.cut_off + '\n').c_str(), stderr);
  return reports_in(capture);
}

}  // namespace

EvaluatedFile load_evaluated(const std::string& input) {
  const std::string name = name_of_input(input);
  const std::string text = read_input(input, begins_capture);
  const FileKind kind = kind_of_file(text, name);
  switch (kind) {
    case FileKind::run:
      return {name, kind, read_run_and_tell(text, name, Reading::tolerant)};
    case FileKind::scenario:
      return {name, kind, parse_scenario(text, name)};
    case FileKind::drive:
      return {name, kind, packed_drive(name, text)};
    case FileKind::capture:
      return {name, kind, captured_run(name, text)};
  }
  return {};
}

}  // namespace kelvane_hub
