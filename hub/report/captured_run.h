// Captures as runs: what clients were told, and what they have asked for.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "hub/report/run.h"
#include "hub/report/run_times.h"
#include "hub/wire/capture_file.h"

namespace kelvane_hub {

/// Its places are records, from 1.
struct CapturedRun {
  /// An event may be one that a client has no report for: of any kind but those that answer a lookup, a request for
  /// attributes or a self-test. Messages say what payloads hold, as far as that is known; requests are the notes.
  Run run;
  RunTimes times;                             // of its records, exact, from the first event
  std::map<std::uint32_t, MessageKind> more;  // kinds of events that the catalogue does not have
};

/// What the sessions of `capture` were told that clients report.
CapturedRun reports_in(const Capture& capture);

/// All that this one of its sessions was told.
CapturedRun run_of_session(const Capture& capture, std::uint32_t session);

}  // namespace kelvane_hub
