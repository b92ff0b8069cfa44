// The hub's loop: waits for clients, signals and the simulator's next moment.
#pragma once

#include <poll.h>

#include <deque>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "hub/server/connection.h"
#include "hub/server/listener.h"
#include "hub/simulator/simulator.h"

namespace kelvane_hub {

/// How a hub is run.
struct ServerSettings {
  scenario played;  // checked
  double speed = 1;
  bool explain = false;  // on standard error
};

/// From now on the signals that end a hub come through this descriptor: SIGINT, SIGTERM, SIGHUP. SIGPIPE is ignored.
/// To be called before there is anything to clean up.
UniqueFd take_over_signals();

/// Serves the clients of one source from one scenario, on the thread that calls run().
class Server {
 public:
  /// `signals`: what take_over_signals() returned.
  Server(ServerSettings settings, UniqueFd signals, std::unique_ptr<ConnectionSource> source);

  /// Returns when the source has dried up, or on one of the signals.
  void run();

 private:
  void wait();
  bool take_signal();
  bool take_connection();
  void serve_connections(Time time);
  void end_silent();
  void drop_ended();
  Time now() const;

  std::unique_ptr<ConnectionSource> source_;
  const std::size_t most_connections_;
  std::map<SessionId, Connection> connections_;
  std::deque<std::pair<Time, SessionId>> hello_due_;  // in order of time
  SessionId last_session_ = 0;
  Simulator simulator_;
  UniqueFd signals_;
  std::vector<pollfd> polled_;  // the signals, the source, then a connection each in the order of connections_
};

}  // namespace kelvane_hub
