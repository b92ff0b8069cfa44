// A scenario that is played to sessions, and judged.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hub/scenario/timeline.h"
#include "hub/simulator/simulator.h"
#include "hub/testbench/faults.h"
#include "hub/testbench/judge.h"
#include "hub/testbench/live_steps.h"

namespace kelvane_hub {

/// How the scenario's faults are played.
struct FaultPlay {
  std::optional<std::uint64_t> seed{};  // absent: the scenario's
  Sessions* sessions = nullptr;         // null: no connection can be ended
};

/// Owns what plays a scenario, and puts it together: requests go through the faults to the simulator, and events from
/// there through the faults to `delivery`.
class Performance final : public Party, RequestTaker {
 public:
  /// Plays `played` (one that was checked) from the first configuration of any sensor on. `delivery`, and the sessions
  /// of `faults`, outlive it.
  Performance(PackedScenario played, Pace pace, Delivery& delivery, Judge::Tell tell, FaultPlay faults = {});
  Performance(const Performance&) = delete;
  Performance& operator=(const Performance&) = delete;

  Simulator& simulator() { return simulator_; }
  const Simulator& simulator() const { return simulator_; }
  Judge& judge() { return judge_; }
  Faults& faults() { return faults_; }
  const Faults& faults() const { return faults_; }
  Timeline& timeline() { return timeline_; }
  const Timeline& timeline() const { return timeline_; }
  LiveSteps& live() { return live_; }
  const LiveSteps& live() const { return live_; }
  const PackedScenario& played() const { return played_; }

  /// A session has asked for something; Simulator::handle_request() says what goes before. Those who watch the
  /// simulator are told, whatever becomes of the request.
  void handle_request(const Link& from, const std::string& envelope, Time now);

  /// Nothing is delivered to the session any more.
  void end_session(SessionId session);

  /// Whether the last step has happened, all expectations are decided, and nothing is late.
  bool is_over() const { return timeline_.ended() && !judge_.is_open() && !faults_.next_due(); }

  /// Seconds of the clock that it waits for clients, or lets them wait, at most, beside its length.
  double longest_wait() const { return judge_.longest_wait() + faults_.longest_delay(); }

  /// Scenario time becomes `seconds`, as Timeline::seek() has it. That takes no time: what was told before is as old,
  /// and what is expected may take as long, as if scenario time had not jumped. Ramps and variations that were
  /// ordered end.
  void seek(double seconds, Time now);

  /// Everything begins anew: at once, or with the first configuration of a sensor if no session has configured one.
  void restart(Time now) {
    faults_.begin_anew();
    simulator_.restart(now);
  }

  /// The same for clients to come, when nobody is left: what was asked for counts no more.
  void await_first_client(Time now);

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  void take_request(const Link& from, const std::string& envelope, Time now) override;
  void refuse(const Link& from, HubError error, Time now) override;

  const PackedScenario played_;
  Timeline timeline_;
  LiveSteps live_;
  Judge judge_;
  Faults faults_;
  Simulator simulator_;
};

}  // namespace kelvane_hub
