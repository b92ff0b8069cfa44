// A hub at work: clients, signals and a simulator in one loop.
#pragma once

#include <memory>

#include "hub/server/clients.h"
#include "hub/server/loop.h"
#include "hub/simulator/simulator.h"
#include "hub/testbench/announcer.h"
#include "hub/testbench/explainer.h"

namespace kelvane_hub {

/// How a hub is run.
struct ServerSettings {
  PackedScenario played;  // checked
  double speed = 1;
  // On standard error:
  bool explain = false;   // why changes were or were not reported
  bool announce = false;  // that the scenario is over
};

/// From now on the signals that end a hub come through this descriptor: SIGINT, SIGTERM, SIGHUP. SIGPIPE is ignored.
/// To be called before there is anything to clean up.
UniqueFd take_over_signals();

/// Serves the clients of one source from one scenario, on the thread that calls run().
class Server final : SessionHandler {
 public:
  /// `signals`: what take_over_signals() returned.
  Server(ServerSettings settings, UniqueFd signals, std::unique_ptr<ConnectionSource> source);

  /// Returns on one of the signals, or when the source has dried up.
  Outcome run() { return loop_.run(); }

 private:
  // What was overdue has happened: the loop advances its parties first.
  void on_request(const Link& from, const std::string& envelope, Time now) override;
  void on_end(SessionId session) override;

  UniqueFd signals_;
  Loop loop_;
  Clients clients_;
  Simulator simulator_;
  Explainer explainer_;
  Announcer announcer_;
};

}  // namespace kelvane_hub
