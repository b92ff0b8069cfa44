// When a scenario's steps happen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

#include "hub/scenario/packed_scenario.h"
#include "hub/scenario/step_source.h"

namespace kelvane_hub {

/// How a scenario is played.
struct Pace {
  /// The speed at which each step follows as soon as the one before it has been dealt with.
  static constexpr double at_once = std::numeric_limits<double>::infinity();

  double speed = 1;                   // times as fast as the scenario says, 0.01 to 10000; or at_once
  std::optional<std::int64_t> times;  // how often, 1 or more, if it begins anew; absent: on and on
};

/// The steps of a scenario. From a step that waits for something on scenario time stands still until go_on().
class Timeline final : public StepSource {
 public:
  /// Keeps a reference to `played`.
  Timeline(const PackedScenario& played, Pace pace) : scenario_(played), pace_(pace) {}

  void start(Time now) override { start_ = last_ = now; }
  bool started() const override { return start_.has_value(); }
  std::optional<Time> next_due() const override;
  scenario_step take_next(Time now) override;
  bool ended() const override;
  ScenarioTime at(Time now) const override;

  bool is_held() const { return held_.has_value(); }

  /// Seconds of scenario time up to the last step, if it is not played on and on.
  double length() const;

  /// How many steps were taken, and how many there are, likewise.
  std::size_t taken() const { return taken_; }
  std::size_t steps() const { return scenario_.steps_size() * static_cast<std::size_t>(rounds()); }

  /// To be called while it is held, with the time at which what was waited for has come.
  void go_on(Time now);

 private:
  bool is_at_once() const { return pace_.speed == Pace::at_once; }
  std::int64_t rounds() const { return scenario_.head().has_repeat_after() ? pace_.times.value_or(1) : 1; }
  double seconds_to_next() const;
  bool begins_anew() const;

  const PackedScenario& scenario_;
  const Pace pace_;
  Time last_{};                // when the last step was taken
  double last_seconds_ = 0;    // what it says of that
  std::optional<Time> start_;  // or, after it stood still, as much later
  std::optional<Time> held_;   // since when scenario time stands still
  std::size_t next_ = 0;
  std::size_t taken_ = 0;
  std::int64_t round_ = 0;
};

}  // namespace kelvane_hub
