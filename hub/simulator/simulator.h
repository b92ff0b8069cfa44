// The simulated sensor hub: what sessions ask of it and what it tells them.
//
// Knows nothing of sockets and clocks: requests come in with the time at which they came, and whoever runs the
// simulator calls advance() when next_due() has come. Single-threaded.
#pragma once

#include <optional>
#include <string>

#include "hub/scenario/packed_scenario.h"
#include "hub/simulator/outbox.h"
#include "hub/simulator/playback.h"
#include "hub/simulator/requests.h"

namespace kelvane_hub {

/// Requests know the playback and the outbox, the playback knows the outbox, and none of them knows who came before it.
class Simulator final : public Party {
 public:
  /// Has the sensors and subscriptions of `played` (one that was checked), and applies the steps of `source`, which is
  /// started by the first configuration of any sensor. All three outlive the simulator.
  Simulator(const PackedScenario& played, StepSource& source, Delivery& delivery);
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  /// From now on `watcher`, which outlives the simulator, is told of what happens.
  void watch(Watcher& watcher) { outbox_.watchers().add(watcher); }

  /// A session has asked a sensor for what `envelope`, a serialised sns_client_request_msg, says. An envelope that is
  /// malformed, or a sensor that does not exist, is answered with an error event. advance(now) goes before: what is
  /// overdue has happened before the request came.
  void handle_request(const Link& from, const std::string& envelope, Time now);

  /// The two halves of that, for whoever stands in between: tells those who watch, and answers.
  void note_request(const Link& from, const std::string& envelope, Time now);
  void carry_out(const Link& from, const std::string& envelope, Time now);

  /// Answers a request with that error, instead.
  void refuse(const Link& from, HubError error, Time now);
  /// The step happens now, as if the source had handed it out.
  void apply(const scenario_step& step, Time now) { playback_.apply(step, now); }

  /// What is known of the modem, and of what sessions have asked for.
  const Playback& playback() const { return playback_; }

  /// The source has jumped in scenario time; no time has passed.
  void note_jump(ScenarioTime by) { playback_.note_jump(by); }

  /// Everything begins anew, the source and the modem's state; what sessions have asked for stays. Scenario time begins
  /// at once if one has configured a sensor.
  void restart(Time now) { playback_.restart(now); }

  /// Nothing is delivered to the session any more.
  void end_session(SessionId session);

  std::optional<Time> next_due() const override;

  /// Answers to lookups come first, since whoever looks up waits for them, then the rest in order of time.
  void advance(Time now) override;

 private:
  Outbox outbox_;
  Playback playback_;
  Requests requests_;
};

}  // namespace kelvane_hub
