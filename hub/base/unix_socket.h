// Unix sockets: addresses, pairs, bytes in and out.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <chrono>
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

/// Connects a stream socket, which blocks or not as before. Does not wait: returns 0 or the error number, which is
/// EAGAIN if the listener has no room left for those that wait for it.
int connect_at_once(int socket, const UnixAddress& address);

/// Receives what comes next, as recv() does, but goes on after a signal.
ssize_t receive_some(int socket, std::span<char> buffer);

/// Sends all of `bytes`. Returns false if the peer is gone, or has not taken them within `longest`.
bool send_all(int socket, std::string_view bytes, std::chrono::milliseconds longest);

}  // namespace kelvane_hub
