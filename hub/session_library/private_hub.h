// The hub that a client process starts for itself when no other is named.
#pragma once

#include <chrono>
#include <memory>

#include "hub/base/child.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// A connection on which nothing has been said yet.
struct PrivateConnection {
  UniqueFd socket;
  std::shared_ptr<Child> hub;  // never null
  bool started = false;        // for this connection
};

/// A new connection to this process's own hub, which is started if it is not running (any more). It is one hub for all
/// sessions of the process, lives in a process group of its own and ends with the process. A child that the process has
/// forked has no part in it. Throws std::runtime_error. Any thread.
PrivateConnection connect_to_private_hub();

/// How long a hub that is to end, or has hung up, may take to end.
inline constexpr std::chrono::milliseconds hub_end_patience{5000};

/// Whether the process is in its last moments, its private hub stopped: sessions that are still open end without a
/// word, and none can be opened. Any thread.
bool is_process_ending();

}  // namespace kelvane_hub
