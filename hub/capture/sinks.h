// Where messages go that were heard.
#pragma once

#include <string>

#include "hub/capture/lines.h"
#include "hub/capture/record_queue.h"

namespace kelvane_hub {

/// Begins a capture at `path`, in place of what stands there, that only the user can read. A pipe has to have a reader.
/// Throws InputError, "path: reason": another hub may be writing there, too.
Sink capture_at(const std::string& path);

/// Prints them as lines on standard output.
Sink lines_on_standard_output(const View& view);

}  // namespace kelvane_hub
