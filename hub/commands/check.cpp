#include <cstdio>
#include <iostream>

#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {

void check(const CheckOptions& options) {
  const DoubtedScenario checked = doubt_scenario(options.file);
  if (!checked.warnings.empty()) (void)std::fprintf(stderr, "%s\n", checked.warnings.c_str());
  const std::string description = describe(checked.content, options.speed);
  if (!(std::cout << description << std::flush)) throw InputError("standard output: cannot write all of it");
}

}  // namespace kelvane_hub
