// What the payload bytes of a run's reports tell beyond what is printed.
#pragma once

#include "hub/report/run.h"

namespace kelvane_hub {

/// Reports print 0 for what a payload does not have. Wherever a report has its payload's bytes, and these say what is
/// printed, its message becomes what they hold: what is absent there is not set any more. Of the others, whose bytes
/// are of other definitions than ours or broken, the message stays as it is printed. Returns those.
Oddity believe_payloads(Run& run);

/// Whether the message of `event` is written as the very bytes of its payload. It has some.
bool has_its_bytes(const RunEvent& event);

}  // namespace kelvane_hub
