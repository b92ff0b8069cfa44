#include <iostream>
#include <sstream>
#include <utility>

#include "hub/base/diagnostic.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/scenario_file.h"
#include "hub/server/server.h"

namespace kelvane_hub {
namespace {

Server make_server(const ServeOptions& options) {
  const bool is_private = options.listen.empty();
  // A private hub shares its standard error with its client, whose own lines are the first that count there.
  ServerSettings settings{options.scenario.empty() ? built_in_scenario() : load_scenario(options.scenario),
                          options.speed, options.explain, options.explain || !is_private};
  check_pace(settings.played, settings.speed);
  UniqueFd signals = take_over_signals();
  auto source = is_private ? connections_from(UniqueFd(options.control_fd)) : listen_at(options.listen);
  return {std::move(settings), std::move(signals), std::move(source)};
}

/// Who speaks stands in front of each line: the client's terminal shows them among others.
std::string with_speaker(const std::string& lines) {
  std::istringstream text(lines);
  std::string spoken;
  for (std::string line; std::getline(text, line);) {
    spoken.append(spoken.empty() ? "" : "\n").append(hub_speaker).append(": ").append(line);
  }
  return spoken;
}

}  // namespace

void serve(const ServeOptions& options) try {
  Server server = make_server(options);
  if (!options.listen.empty()) std::cout << "kelvane-hub: listening on " << options.listen << std::endl;
  server.run();
} catch (const InputError& error) {
  throw InputError(with_speaker(error.what()));
}

}  // namespace kelvane_hub
