// Reaching the hub.
#pragma once

#include <memory>

#include "hub/base/child.h"
#include "hub/base/unique_fd.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// A connection on which both sides have said hello.
struct HubConnection {
  UniqueFd socket;
  FrameReader reader;               // may hold what came right after the hub's hello
  std::shared_ptr<Child> hub = {};  // null: the hub is no child of this process
};

/// Connects to the hub that KELVANE_HUB_SOCKET names, if it is this user's or root's, or without it to this process's
/// own. Waits 10 s for the hub, or about one from the moment when a signal is handled on this thread. Throws
/// std::runtime_error whose text says which hub it was, and why it failed; a private hub started for this has ended
/// then, unless it is slow.
HubConnection connect_to_hub();

/// How long a hub may take to take a request.
inline constexpr std::chrono::milliseconds send_patience{5000};

}  // namespace kelvane_hub
