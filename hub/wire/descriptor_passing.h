// Handing an open descriptor to another process over a Unix socket.
#pragma once

#include <optional>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// Sends `descriptor` over `socket`; the sender keeps its own. Returns false if the peer is gone, or has left so much
/// unread that there is no room.
bool send_descriptor(int socket, int descriptor);

/// The descriptor that came over `socket`: none if the peer has ended the connection, an empty one if what came held
/// no descriptor or more than fit. Of two that fit the first is taken, the other closed. Blocks until something comes.
std::optional<UniqueFd> receive_descriptor(int socket);

}  // namespace kelvane_hub
