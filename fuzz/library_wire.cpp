// A hub's bytes to a session's channel. What the callback does depends on the event.

#include <numeric>
#include <stdexcept>

#include "fuzz/wire_peer.h"
#include "hub/session_library/channel.h"

namespace kelvane_hub::fuzz {
namespace {

constexpr suid sensor{7, 9};

void react(Channel& channel, Callbacks& callbacks, std::string_view event) {
  if (event == "throw") throw std::runtime_error("an event that the callback cannot take");
  if (event == "stop") channel.stop();
  if (event == "forget") callbacks.set(sensor, [](const std::uint8_t*, std::size_t, std::size_t) {});
  (void)channel.send(sensor, event);
}

/// Until the channel has handled everything and hangs up.
void wait_for_end(const UniqueFd& socket) {
  (void)shutdown(socket.get(), SHUT_WR);
  std::array<char, 65536> ignored;
  while (recv(socket.get(), ignored.data(), ignored.size(), 0) > 0) {
  }
}

void converse(const std::vector<std::string_view>& pieces) {
  if (pieces.empty()) return;
  auto [hub_end, library_end] = socket_pair(SOCK_STREAM);
  HubConnection connection{std::move(library_end), FrameReader()};
  // As if it had come together with the hub's hello.
  connection.reader.append(pieces.front());
  const auto callbacks = std::make_shared<Callbacks>();
  Channel channel(std::move(connection), callbacks);
  callbacks->set(sensor, [&](const std::uint8_t* data, std::size_t size, std::size_t) {
    react(channel, *callbacks, {reinterpret_cast<const char*>(data), size});
  });
  channel.begin();
  for (auto piece = pieces.begin() + 1; piece != pieces.end(); ++piece) say(hub_end, *piece);
  wait_for_end(hub_end);
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane_hub::fuzz::converse(kelvane_hub::fuzz::pieces_of(data, size));
  return 0;
}
