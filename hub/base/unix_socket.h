// Unix sockets: addresses, pairs, bytes in and out.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// The address of a socket in the file system.
class UnixAddress {
 public:
  static constexpr std::size_t longest_path = sizeof sockaddr_un::sun_path - 1;

  /// Of a `path` of 1 to longest_path bytes.
  explicit UnixAddress(std::string_view path);

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
  static socklen_t size() { return sizeof(sockaddr_un); }

 private:
  sockaddr_un address_{};
};

/// A stream socket, beside the standard streams and closed on exec; empty, and errno says why, if there is none to be
/// had.
UniqueFd new_stream_socket();

/// A connected pair of the given type (SOCK_STREAM, say), likewise. Throws std::system_error.
std::array<UniqueFd, 2> socket_pair(int type);

/// Receives what comes next, as recv() does, but goes on after a signal.
ssize_t receive_some(int socket, std::span<char> buffer);

/// Sends all of `bytes`. Returns false if the peer is gone, or the socket's time-out has passed.
bool send_all(int socket, std::string_view bytes);

}  // namespace kelvane_hub
