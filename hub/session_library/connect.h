// Reaching the hub.
#pragma once

#include "hub/base/unique_fd.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// A connection on which both sides have said hello.
struct HubConnection {
  UniqueFd socket;
  FrameReader reader;  // may hold what came right after the hub's hello
};

/// Connects to the hub that KELVANE_HUB_SOCKET names or, without it, to this process's own. Throws std::runtime_error
/// whose text says which hub it was, and why it failed.
HubConnection connect_to_hub();

/// How long a hub may take to take a request.
inline constexpr int send_timeout_seconds = 5;

}  // namespace kelvane_hub
