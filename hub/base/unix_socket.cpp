#include "hub/base/unix_socket.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace kelvane_hub {

UnixAddress::UnixAddress(std::string_view path) {
  address_.sun_family = AF_UNIX;
  path.copy(address_.sun_path, longest_path);
}

UniqueFd new_stream_socket() {
  return beside_standard_streams(UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
}

std::array<UniqueFd, 2> socket_pair(int type) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
  // Both are taken over before either is moved.
  UniqueFd first(ends[0]);
  UniqueFd second(ends[1]);
  return {beside_standard_streams(std::move(first)), beside_standard_streams(std::move(second))};
}

ssize_t receive_some(int socket, std::span<char> buffer) {
  ssize_t received = -1;
  do {
    received = recv(socket, buffer.data(), buffer.size(), 0);
  } while (received == -1 && errno == EINTR);
  return received;
}

bool send_all(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent == -1 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

}  // namespace kelvane_hub
