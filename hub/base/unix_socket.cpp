#include "hub/base/unix_socket.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace kelvane_hub {
namespace {

using Clock = std::chrono::steady_clock;

/// Returns false at the deadline.
bool wait_for_room(int socket, Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) return false;
  pollfd room{socket, POLLOUT, 0};
  (void)poll(&room, 1, static_cast<int>(left.count()));
  return true;
}

}  // namespace

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

int connect_at_once(int socket, const UnixAddress& address) {
  const int flags = fcntl(socket, F_GETFL);
  (void)fcntl(socket, F_SETFL, flags | O_NONBLOCK);
  const int error = connect(socket, address.get(), UnixAddress::size()) == 0 ? 0 : errno;
  (void)fcntl(socket, F_SETFL, flags);
  return error;
}

ssize_t receive_some(int socket, std::span<char> buffer) {
  ssize_t received = -1;
  do {
    received = recv(socket, buffer.data(), buffer.size(), 0);
  } while (received == -1 && errno == EINTR);
  return received;
}

bool send_all(int socket, std::string_view bytes, std::chrono::milliseconds longest) {
  const auto deadline = Clock::now() + longest;
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN) {
      if (!wait_for_room(socket, deadline)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace kelvane_hub
