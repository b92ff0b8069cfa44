// The hub that a client process starts for itself when no other is named.
#pragma once

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// A new connection to this process's own hub, which is started if it is not running (any more). It is one hub for all
/// sessions of the process, lives in a process group of its own and ends with the process. None, and a line on standard
/// error, if it cannot be started. Any thread.
UniqueFd connect_to_private_hub();

/// Whether the process is in its last moments, its private hub stopped: sessions that are still open end without a
/// word, and none can be opened. Any thread.
bool is_process_ending();

}  // namespace kelvane_hub
