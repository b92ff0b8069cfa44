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
  Judge& judge() { return judge_; }
  const Timeline& timeline() const { return timeline_; }
  const PackedScenario& played() const { return played_; }

  /// Whether the last step has happened and all expectations are decided.
  bool is_over() const { return timeline_.ended() && !judge_.is_open(); }

  /// Seconds of the clock that it waits for clients at most, beside its length.
  double longest_wait() const { return judge_.longest_wait(); }

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  const PackedScenario played_;
  Timeline timeline_;
  Judge judge_;
  Simulator simulator_;
};

}  // namespace kelvane_hub
