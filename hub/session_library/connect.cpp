#include "hub/session_library/connect.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hub/session_library/private_hub.h"

namespace kelvane_hub {
namespace {

constexpr int hello_timeout_seconds = 10;

UniqueFd connect_to_socket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::runtime_error("expected a path of at most " + std::to_string(sizeof address.sun_path - 1) + " bytes");
  }
  path.copy(address.sun_path, path.size());
  UniqueFd socket = beside_standard_streams(UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
  if (!socket) throw std::runtime_error(strerror(errno));
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error(strerror(errno));
  }
  return socket;
}

void set_timeout(int socket, int option, int seconds) {
  const timeval timeout{seconds, 0};
  (void)setsockopt(socket, SOL_SOCKET, option, &timeout, sizeof timeout);
}

/// Appends what comes next to the reader.
void receive_some(HubConnection& hub) {
  std::array<char, 4096> buffer{};
  ssize_t received = -1;
  do {
    received = recv(hub.socket.get(), buffer.data(), buffer.size(), 0);
  } while (received == -1 && errno == EINTR);
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
  while (!(frame = hub.reader.next())) receive_some(hub);
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
