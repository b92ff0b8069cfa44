#include "hub/session_library/connect.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "hub/base/unix_socket.h"
#include "hub/session_library/patience.h"
#include "hub/session_library/private_hub.h"

namespace kelvane_hub {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds patience_for_hub{10};

/// The hub hung up before its hello.
class HungUp : public std::runtime_error {
 public:
  HungUp() : std::runtime_error("it closed the connection instead of saying hello") {}
};

/// Anybody may have made a socket at the path, in a folder that is not the user's own.
void expect_own_or_root(int socket) {
  ucred hub{};
  socklen_t size = sizeof hub;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &hub, &size) != 0) throw std::runtime_error(strerror(errno));
  const uid_t own = geteuid();
  if (hub.uid == own || hub.uid == 0) return;
  throw std::runtime_error("it belongs to user " + std::to_string(hub.uid) + ", expected user " + std::to_string(own) +
                           (own == 0 ? "" : " or 0"));
}

UniqueFd connect_to_socket(const std::string& path, Patience& patience) {
  constexpr milliseconds pause{20};
  if (path.size() > UnixAddress::longest_path) {
    throw std::runtime_error("expected a path of at most " + std::to_string(UnixAddress::longest_path) +
                             " bytes, found one of " + std::to_string(path.size()));
  }
  const UnixAddress address(path);
  UniqueFd socket = new_stream_socket();
  if (!socket) throw std::runtime_error(strerror(errno));
  while (const int error = connect_at_once(socket.get(), address)) {
    if (error != EAGAIN) throw std::runtime_error(strerror(error));
    // So many wait for the hub that there is no room for one more, and nothing tells when there is.
    patience.wait(-1, pause, "it did not take the connection");
  }
  expect_own_or_root(socket.get());
  return socket;
}

/// Appends what has come to the reader.
void append_next(HubConnection& hub) {
  std::array<char, 4096> buffer{};
  const ssize_t received = recv(hub.socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (received == -1 && (errno == EAGAIN || errno == EINTR)) return;
  if (received == 0 || (received == -1 && errno == ECONNRESET)) throw HungUp();
  if (received == -1) throw std::runtime_error(strerror(errno));
  hub.reader.append({buffer.data(), static_cast<std::size_t>(received)});
}

void exchange_hellos(HubConnection& hub, Patience& patience) {
  // A failed send shows in the read that follows.
  (void)send_all(hub.socket.get(), encode_hello(), send_patience);
  std::optional<Frame> frame;
  while (!(frame = hub.reader.next())) {
    patience.wait(hub.socket.get(), patience_for_hub, "it did not say hello");
    append_next(hub);
  }
  expect_hello(*frame);
}

HubConnection connect_to_shared_hub(const std::string& path) {
  Patience patience(patience_for_hub);
  HubConnection hub;
  hub.socket = connect_to_socket(path, patience);
  exchange_hellos(hub, patience);
  return hub;
}

/// One that has been started in vain would make the end of this process wait for it. One that is only slow may be ready
/// for the next session.
void end_in_vain(const PrivateConnection& hub, const Patience& patience) {
  if (!hub.started || patience.ran_out()) return;
  hub.hub->kill();
  (void)hub.hub->wait_for_end(hub_end_patience);
}

HubConnection connect_to_own_hub() {
  Patience patience(patience_for_hub);
  PrivateConnection own = connect_to_private_hub();
  HubConnection hub{std::move(own.socket), FrameReader(), own.hub};
  try {
    exchange_hellos(hub, patience);
    return hub;
  } catch (const HungUp&) {
    if (own.hub->wait_for_end(hub_end_patience)) throw std::runtime_error(own.hub->how_it_ended());
    end_in_vain(own, patience);
    throw;
  } catch (const std::exception&) {
    end_in_vain(own, patience);
    throw;
  }
}

}  // namespace

HubConnection connect_to_hub() {
  const char* path = std::getenv("KELVANE_HUB_SOCKET");
  const bool shared = path != nullptr && *path != '\0';
  try {
    return shared ? connect_to_shared_hub(path) : connect_to_own_hub();
  } catch (const std::exception& error) {
    const std::string which = shared ? std::string("the hub at ") + path : "the private hub";
    throw std::runtime_error("no session with " + which + ": " + error.what());
  }
}

}  // namespace kelvane_hub
