// A scenario that is played to sessions, and judged.
#pragma once

#include <optional>
#include <string>

#include "hub/scenario/timeline.h"
#include "hub/simulator/simulator.h"
#include "hub/testbench/judge.h"

namespace kelvane_hub {

/// Owns what plays a scenario, and puts it together.
class Performance final : public Party {
 public:
  /// Plays `played` (one that was checked) from the first configuration of any sensor on. `delivery` outlives it.
  Performance(PackedScenario played, Pace pace, Delivery& delivery, Judge::Tell tell);
  Performance(const Performance&) = delete;
  Performance& operator=(const Performance&) = delete;

  Simulator& simulator() { return simulator_; }
  const Simulator& simulator() const { return simulator_; }
  Judge& judge() { return judge_; }
  Timeline& timeline() { return timeline_; }
  const Timeline& timeline() const { return timeline_; }
  const PackedScenario& played() const { return played_; }

  /// Whether the last step has happened and all expectations are decided.
  bool is_over() const { return timeline_.ended() && !judge_.is_open(); }

  /// Seconds that its steps wait for clients at most, all together; whatever the speed.
  double longest_wait() const { return judge_.longest_wait(); }

  /// Scenario time becomes `seconds`, as Timeline::seek() has it. That takes no time: what was told before is as old,
  /// and what is expected may take as long, as if scenario time had not jumped.
  void seek(double seconds, Time now);

  /// Everything begins anew: at once, or with the first configuration of a sensor if no session has configured one.
  void restart(Time now) { simulator_.restart(now); }

  /// The same for clients to come, when nobody is left: what was asked for counts no more.
  void await_first_client(Time now);

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  const PackedScenario played_;
  Timeline timeline_;
  Judge judge_;
  Simulator simulator_;
};

}  // namespace kelvane_hub
