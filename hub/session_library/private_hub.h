// The hub that a client process starts for itself when no other is named.
#pragma once

#include "hub/unique_fd.h"

namespace kelvane_hub {

/// A new connection to this process's own hub, which is started if it is not running (any more). It is one hub for all
/// sessions of the process, lives in a process group of its own and ends with the process. None, and a line on standard
/// error, if it cannot be started. Any thread.
UniqueFd connect_to_private_hub();

}  // namespace kelvane_hub
