#include <unistd.h>

#include <string>
#include <string_view>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/capture/wire_line.h"
#include "hub/commands/commands.h"
#include "hub/commands/hub_connection.h"
#include "hub/commands/outputs.h"

namespace kelvane_hub {
namespace {

HubConnection connect_to(const std::string& socket) try {
  return {socket, "monitor"};
} catch (const InputError& error) {
  throw UsageError(error.what());
}

}  // namespace

void monitor(const MonitorOptions& options) {
  constexpr std::string_view lost = "lost ";
  Lines lines(options.view);
  HubConnection hub = connect_to(options.socket);
  (void)hub.ask("monitor");
  while (const auto line = hub.next_line(watched_output())) {
    if (line->starts_with(lost)) {
      const std::string count = line->substr(lost.size());
      write_to_descriptor(
          concat("kelvane-hub monitor: ", count,
                 count == "1" ? " message was lost: it was" : " messages were lost: they were", " taken too slowly\n"),
          STDERR_FILENO, "standard error");
    } else if (const std::string text = lines.of(from_line(*line)); !text.empty()) {
      write_output(text, "-");
    }
  }
}

}  // namespace kelvane_hub
