#include <cstdio>

#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {

void check(const CheckOptions& options) {
  const DoubtedScenario checked = doubt_scenario(options.file);
  if (!checked.warnings.empty()) (void)std::fprintf(stderr, "%s\n", checked.warnings.c_str());
  write_output(describe(checked.content, options.speed), "-");
}

}  // namespace kelvane_hub
