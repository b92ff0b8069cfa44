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
  explicit ToConnection(Connection& to) : connection(to) {}
  void deliver(const Link& to, const std::string& message) override { connection.send_event(to.sensor, message); }
  Connection& connection;
};

void converse(const std::vector<std::string_view>& pieces) {
  static const PackedScenario played = built_in_scenario();
  auto [client_end, hub_end] = socket_pair(SOCK_STREAM);
  Client client(std::move(client_end));
  Connection connection(std::move(hub_end), false);
  ToConnection delivery(connection);
  Timeline timeline(played, {10, {}});
  Simulator simulator(played, timeline, delivery);
  Explainer explainer([](const std::string&) {});
  simulator.watch(explainer);
  Time now = std::chrono::hours(1);
  for (const auto piece : pieces) {
    client.send(piece);
    connection.read([&](suid sensor, const std::string& envelope) {
      simulator.handle_request({1, sensor}, envelope, now);
    });
    simulator.advance(now += std::chrono::milliseconds(150));
    connection.write();
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
