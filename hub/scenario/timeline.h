// When a scenario's steps happen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
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
  std::optional<std::int64_t> times;  // how often, 1 or more, if it begins anew; absent: as it says
};

/// The steps of a scenario. From a step that waits for something on scenario time stands still until go_on(); so it
/// does from pause() to resume(), whichever ends last.
class Timeline final : public StepSource {
 public:
  /// Keeps a reference to `played`.
  Timeline(const PackedScenario& played, Pace pace);

  void start(Time now) override;
  bool started() const override { return start_.has_value(); }
  std::optional<Time> next_due() const override;
  scenario_step take_next(Time now) override;
  bool ended() const override;
  ScenarioTime at(Time now) const override;
  ScenarioTime last_taken() const override { return ScenarioTime(last_seconds_); }
  std::optional<Time> when(ScenarioTime time) const override;

  bool is_held() const { return held_; }

  /// Seconds of scenario time up to the last step, if it is not played on and on.
  double length() const;

  /// How many steps were taken, and how many there are, likewise.
  std::size_t taken() const { return taken_; }
  std::size_t steps() const { return scenario_.steps_size() * static_cast<std::size_t>(rounds()); }

  /// The index in the scenario of the step that comes next; those before it were taken, or a jump has left them out.
  std::size_t next_index() const { return next_; }

  /// To be called while it is held, with the time at which what was waited for has come.
  void go_on(Time now);

  bool is_paused() const { return paused_; }

  /// Scenario time stands still, at 0 if it has not started; what is due by then happens all the same.
  void pause(Time now);
  void resume(Time now);

  /// Whether a step follows that skip() can take.
  bool has_next() const { return started() && next_ != scenario_.steps_size(); }

  /// That step.
  scenario_step next() const { return scenario_.step(next_); }

  /// Its scenario time in seconds.
  double next_time() const { return seconds_to_next(); }

  /// Scenario time jumps to the next step's, which is due at once with all of the same time, and goes on from there
  /// unless it stands still. To be called if has_next(), and if it is not held; has no effect on steps that follow at
  /// once.
  void skip(Time now) { skip_to(seconds_to_next(), now); }

  /// The same to an earlier time, `seconds`, not before that of `now`; then no step is due.
  void skip_to(double seconds, Time now) { place(seconds, now); }

  /// Scenario time becomes `seconds`, 0 or more, and goes on from there unless it stands still. At once due is what
  /// brings the modem into the state that it has then: the last cells, calls and RRC states before that time, or none
  /// of those that have been spoken of since; what happened but once is left out. To be called when it has started and
  /// is not held.
  void seek(double seconds, Time now);

  /// Back to before the start, held no more. A pause stays.
  void rewind() override;

  double speed() const { return pace_.speed; }

  /// From now on it is played so many times as fast; scenario time does not jump.
  void set_speed(double speed, Time now);

 private:
  bool is_at_once() const { return pace_.speed == Pace::at_once; }
  std::int64_t rounds() const { return scenario_.head().has_repeat_after() ? pace_.times.value_or(1) : 1; }
  double seconds_to_next() const;
  bool begins_anew() const;
  void begin_anew();
  double end_of_round() const;
  void stop(Time now);
  void go_on_unless_stopped(Time now);
  void place(double seconds, Time now);

  const PackedScenario& scenario_;
  Pace pace_;
  Time last_{};                  // when the last step was taken
  double last_seconds_ = 0;      // what it says of that
  std::optional<Time> start_;    // or, after it stood still or jumped, when it would have been
  std::optional<Time> stopped_;  // since when scenario time stands still
  bool held_ = false;            // for a step that waits
  bool paused_ = false;
  std::deque<scenario_step> catching_up_;  // after a jump
  Time jumped_{};                          // when that was
  std::size_t next_ = 0;
  std::size_t taken_ = 0;
  std::int64_t round_ = 0;
  bool is_at_end_ = false;  // of the duration that it has
};

}  // namespace kelvane_hub
