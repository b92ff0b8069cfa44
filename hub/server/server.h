// A hub at work: clients, signals and a simulator in one loop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hub/server/clients.h"
#include "hub/server/controllers.h"
#include "hub/server/loop.h"
#include "hub/server/voice.h"
#include "hub/server/wiretap.h"
#include "hub/testbench/announcer.h"
#include "hub/testbench/control.h"
#include "hub/testbench/explainer.h"
#include "hub/testbench/laggard.h"
#include "hub/testbench/performance.h"

namespace kelvane_hub {

/// What a hub says of itself, beside what is wrong.
struct Talk {
  bool explain = false;   // why changes were or were not reported, and what goes wrong on purpose
  bool announce = false;  // that the scenario is over
};

/// From now on the signals that end a hub come through this descriptor: SIGINT, SIGTERM, SIGHUP. SIGPIPE is ignored.
/// To be called before there is anything to clean up.
UniqueFd take_over_signals();

/// Serves the clients of one source from one scenario, on the thread that calls run().
class Server final : SessionHandler, Party {
 public:
  /// `signals`, what take_over_signals() returned, and `voice` outlive this object. Until there is a scenario to play
  /// connections are taken, but nothing is said on them.
  Server(Talk talk, Voice& voice, const UniqueFd& signals, std::unique_ptr<ConnectionSource> source);

  /// Says hello to whoever is there and comes, if there is still nothing to play at `due`; their requests go on
  /// waiting.
  void greet_at(Time due) { greet_due_ = due; }

  /// From now on requests are answered: plays `played` (one that was checked). `tell` is told whether its expectations
  /// are met. Faults are drawn with `seed` or, without one, the scenario's own. To be called once; the performance is
  /// the server's.
  Performance& play(PackedScenario played, Pace pace, Judge::Tell tell, std::optional<std::uint64_t> seed = {});

  /// From now on takes orders from those who come through `source`. To be called once, before play().
  void control_from(std::unique_ptr<ConnectionSource> source);

  /// Keeps what is said from now on in a capture at `path`. Throws InputError.
  void capture_to(const std::string& path) { wiretap_.start_capture(path); }

  /// Prints what is said from now on on standard output, a line a message. To be called once.
  void trace() { wiretap_.trace(); }

  /// From now on, whenever the last client has gone, the scenario waits for the first configuration anew.
  void restart_for_each_first() { restarts_ = true; }

  /// Calls `action` once, during run(), when `descriptor`, which the caller keeps open, can be read. What it throws
  /// ends run().
  void once_readable(int descriptor, std::function<void()> action);

  /// From now on `party`, which outlives this object, gets its turns.
  void add(Party& party) { loop_.add(party); }

  /// Queues an event from no sensor for every session; libraries drop it.
  void send_mark() { clients_.send_mark(); }

  /// Whether all that was queued so far has been taken by the clients' processes.
  bool is_all_taken() const { return clients_.is_all_taken(); }

  /// Whether nothing is left to be taken of what clients have sent so far.
  bool is_all_heard() const { return clients_.is_all_heard(); }

  /// Ends run() when this turn ends.
  void stop(Outcome outcome) { loop_.stop(outcome); }

  /// Returns on one of the signals, when the source has dried up, or when it was stopped.
  Outcome run() { return loop_.run(); }

 private:
  void explain_faults();
  std::optional<Time> next_due() const override;
  void advance(Time now) override;
  // What was overdue has happened: the loop advances its parties first.
  void on_request(const Link& from, const std::string& envelope, Time now) override;
  void on_end(SessionId session) override;
  bool is_deserted() const;

  std::optional<Time> greet_due_;
  const Talk talk_;
  Voice& voice_;
  Loop loop_;
  Clients clients_;
  Wiretap wiretap_;
  bool restarts_ = false;
  bool is_visited_ = false;  // by somebody who has asked for something, since the scenario last waited for the first
  std::optional<Performance> performance_;  // none before there is a scenario
  std::optional<Controllers> controllers_;  // none if nobody may give orders
  std::optional<Control> control_;          // if both are there
  Explainer explainer_;
  Announcer announcer_;
  Laggard laggard_;
};

}  // namespace kelvane_hub
