#include <iostream>
#include <utility>

#include "hub/commands/commands.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/scenario_file.h"
#include "hub/server/server.h"

namespace kelvane_hub {

void serve(const ServeOptions& options) {
  ServerSettings settings{options.scenario.empty() ? built_in_scenario() : load_scenario(options.scenario),
                          options.speed, options.explain};
  check_pace(settings.played, settings.speed);
  UniqueFd signals = take_over_signals();
  auto source = options.listen.empty() ? connections_from(UniqueFd(options.control_fd)) : listen_at(options.listen);
  Server server(std::move(settings), std::move(signals), std::move(source));
  if (!options.listen.empty()) std::cout << "kelvane-hub: listening on " << options.listen << std::endl;
  server.run();
}

}  // namespace kelvane_hub
