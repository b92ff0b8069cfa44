// A client's bytes to the hub, and the hub's answers back: they are to be well formed whatever the client sends.

#include "fuzz/wire_peer.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/timeline.h"
#include "hub/server/connection.h"
#include "hub/simulator/simulator.h"
#include "hub/testbench/explainer.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub::fuzz {
namespace {

class Client {
 public:
  explicit Client(UniqueFd socket) : socket_(std::move(socket)) {}

  void send(std::string_view piece) const { say(socket_, piece); }

  void take_events() {
    std::array<char, 65536> buffer;
    ssize_t received = 0;
    while ((received = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0) {
      reader_.append({buffer.data(), static_cast<std::size_t>(received)});
      while (const auto frame = reader_.next()) check(*frame);
    }
  }

 private:
  void check(const Frame& frame) {
    if (!std::exchange(greeted_, true)) return expect_hello(frame);
    sns_client_event_msg message;
    if (frame.kind != FrameKind::event || !message.ParseFromString(frame.payload)) std::abort();
  }

  UniqueFd socket_;
  FrameReader reader_;
  bool greeted_ = false;
};

struct ToConnection final : Delivery {
  ToConnection(Connection& to, std::size_t& waiting_bytes) : connection(to), waiting(waiting_bytes) {}
  void deliver(const Link& to, const std::string& message) override {
    connection.send(std::make_shared<const Outgoing>(encode_frame(FrameKind::event, to.sensor, message), waiting), {});
  }
  Connection& connection;
  std::size_t& waiting;
};

void converse(const std::vector<std::string_view>& pieces) {
  static const PackedScenario played = built_in_scenario();
  std::size_t waiting = 0;
  auto [client_end, hub_end] = socket_pair(SOCK_STREAM);
  Client client(std::move(client_end));
  Connection connection(std::move(hub_end));
  ToConnection delivery(connection, waiting);
  Timeline timeline(played, {10, {}});
  Simulator simulator(played, timeline, delivery);
  Explainer explainer([](const std::string&) {});
  simulator.watch(explainer);
  const auto hello = std::make_shared<const Outgoing>(encode_hello(), waiting);
  Time now = std::chrono::hours(1);
  for (const auto piece : pieces) {
    client.send(piece);
    const auto handle = [&](suid sensor, const std::string& envelope) {
      simulator.handle_request({1, sensor}, envelope, now);
    };
    connection.read();
    while (connection.has_more()) (void)connection.take(hello, handle, now);
    simulator.advance(now += std::chrono::milliseconds(150));
    while (connection.write() > 0) {
    }
    client.take_events();
    if (connection.ended()) simulator.end_session(1);
  }
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane_hub::fuzz::converse(kelvane_hub::fuzz::pieces_of(data, size));
  return 0;
}
