#include "hub/session_library/connect.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hub/base/unix_socket.h"
#include "hub/session_library/private_hub.h"

namespace kelvane_hub {
namespace {

constexpr int hello_timeout_seconds = 10;

UniqueFd connect_to_socket(const std::string& path) {
  if (path.size() > UnixAddress::longest_path) {
    throw std::runtime_error("expected a path of at most " + std::to_string(UnixAddress::longest_path) + " bytes");
  }
  const UnixAddress address(path);
  UniqueFd socket = new_stream_socket();
  if (!socket || ::connect(socket.get(), address.get(), UnixAddress::size()) != 0) {
    throw std::runtime_error(strerror(errno));
  }
  return socket;
}

void set_timeout(int socket, int option, int seconds) {
  const timeval timeout{seconds, 0};
  (void)setsockopt(socket, SOL_SOCKET, option, &timeout, sizeof timeout);
}

/// Appends what comes next to the reader.
void append_next(HubConnection& hub) {
  std::array<char, 4096> buffer{};
  const ssize_t received = receive_some(hub.socket.get(), buffer);
  if (received == 0 || (received == -1 && errno == ECONNRESET)) {
    throw std::runtime_error("it closed the connection instead of saying hello");
  }
  if (received == -1 && errno == EAGAIN) {
    throw std::runtime_error("it did not say hello within " + std::to_string(hello_timeout_seconds) + " seconds");
  }
  if (received == -1) throw std::runtime_error(strerror(errno));
  hub.reader.append({buffer.data(), static_cast<std::size_t>(received)});
}

void exchange_hellos(HubConnection& hub) {
  // A failed send shows in the read that follows.
  (void)send_all(hub.socket.get(), encode_hello());
  set_timeout(hub.socket.get(), SO_RCVTIMEO, hello_timeout_seconds);
  std::optional<Frame> frame;
  while (!(frame = hub.reader.next())) append_next(hub);
  expect_hello(*frame);
  set_timeout(hub.socket.get(), SO_RCVTIMEO, 0);
}

}  // namespace

HubConnection connect_to_hub() {
  const char* path = std::getenv("KELVANE_HUB_SOCKET");
  const bool shared = path != nullptr && *path != '\0';
  try {
    HubConnection hub;
    hub.socket = shared ? connect_to_socket(path) : connect_to_private_hub();
    if (!hub.socket) throw std::runtime_error("it could not be started");
    set_timeout(hub.socket.get(), SO_SNDTIMEO, send_timeout_seconds);
    exchange_hellos(hub);
    return hub;
  } catch (const std::exception& error) {
    const std::string which = shared ? std::string("the hub at ") + path : "the private hub";
    throw std::runtime_error("no session with " + which + ": " + error.what());
  }
}

}  // namespace kelvane_hub
