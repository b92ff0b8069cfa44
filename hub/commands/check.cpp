#include <iostream>

#include "hub/commands/commands.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {

void check(const std::string& file) { std::cout << describe(load_scenario(file)); }

}  // namespace kelvane_hub
