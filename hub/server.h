// The hub's loop: waits for clients, signals and the simulator's next moment.
#pragma once

#include <poll.h>

#include <map>
#include <memory>
#include <vector>

#include "hub/connection.h"
#include "hub/listener.h"
#include "hub/simulator.h"

namespace kelvane_hub {

/// How a hub is run.
struct ServerSettings {
  scenario played;  // checked
  double speed = 1;
  bool explain = false;  // on standard error
};

/// Serves the clients of one source from one scenario, on the thread that calls run().
class Server {
 public:
  Server(ServerSettings settings, std::unique_ptr<ConnectionSource> source);

  /// Returns when the source has dried up, or on SIGINT or SIGTERM.
  void run();

 private:
  void wait();
  bool take_signal();
  bool take_connection();
  void serve_connections();
  void drop_ended();
  Time now() const;

  std::unique_ptr<ConnectionSource> source_;
  std::map<SessionId, Connection> connections_;
  SessionId last_session_ = 0;
  Simulator simulator_;
  UniqueFd signals_;
  std::vector<pollfd> polled_;  // the signals, the source, then a connection each in the order of connections_
};

}  // namespace kelvane_hub
