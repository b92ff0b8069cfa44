// What lines beside the reports tell of a run.
#pragma once

#include <optional>
#include <string_view>

#include "hub/report/run.h"

namespace kelvane_hub {

/// What `line`, which is no report's, tells; nothing if it is none of those that do. Its place is left 0.
std::optional<RunNote> note_in(std::string_view line);

/// Whether it tells of an event that has no report.
bool is_event(const RunNote& note);

/// How a client has used its sensor, as far as the run tells.
struct Conduct {
  std::size_t connections = 0;
  bool streams = false;                   // the first cells come at a rate, or when it asks
  std::optional<std::int32_t> rate;       // at which it is told, in reports a second
  bool has_asked_for_calls = false;       // it has registered for voice calls
  bool has_asked_for_rrc_states = false;  // and for RRC states
  bool has_asked_for_location = false;
  bool has_set_thresholds = false;
};

Conduct conduct_of(const Run& run);

/// Where the client connects to the sensor that the first report of cells comes from: the last connection before that,
/// since others may have refused; null if there is none.
const RunNote* connection_of_reports(const Run& run);

/// How the sensor of that connection, a note of the run or null, is configured; null if the run does not say.
const RunNote* configuration_after(const Run& run, const RunNote* connection);

}  // namespace kelvane_hub
