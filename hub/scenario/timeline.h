// When a scenario's steps happen.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "hub/base/party.h"
#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

/// Seconds since the scenario began, at the scenario's own pace.
using ScenarioTime = std::chrono::duration<double>;

/// Hands out the steps of a scenario at their time. Scenario time stands still at 0 until start().
class Timeline {
 public:
  /// Keeps a reference to `played`. `speed` times as fast as the scenario says, 0.01 to 10000.
  Timeline(const PackedScenario& played, double speed) : scenario_(played), speed_(speed) {}

  bool started() const { return start_.has_value(); }
  void start(Time now) { start_ = now; }

  /// When the next step is due; none if it has not started or nothing follows.
  std::optional<Time> next_due() const;

  /// The next step, which the caller has seen to be due.
  scenario_step take_next();

  /// Whether all steps were taken and none follows.
  bool ended() const { return started() && next_ == scenario_.steps_size(); }

  /// Scenario time at `now`; it goes on over repetitions.
  ScenarioTime at(Time now) const;

 private:
  double seconds_to_next() const;

  const PackedScenario& scenario_;
  double speed_;
  std::optional<Time> start_;
  std::size_t next_ = 0;
  std::int64_t round_ = 0;
};

}  // namespace kelvane_hub
