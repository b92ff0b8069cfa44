#include "hub/scenario/timeline.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "hub/scenario/states.h"

namespace kelvane_hub {

Timeline::Timeline(const PackedScenario& played, Pace pace) : scenario_(played), pace_(pace) {
  if (!pace_.times && played.head().has_repeat()) pace_.times = played.head().repeat();
}

void Timeline::start(Time now) {
  start_ = last_ = now;
  if (paused_) stop(now);
}

std::optional<Time> Timeline::next_due() const {
  if (!started()) return std::nullopt;
  if (!catching_up_.empty()) return jumped_;
  if (held_ || ended()) return std::nullopt;
  if (is_at_once()) return paused_ ? std::nullopt : std::optional(last_);
  return when(ScenarioTime(seconds_to_next()));
}

scenario_step Timeline::take_next(Time now) {
  if (!catching_up_.empty()) {
    scenario_step state = std::move(catching_up_.front());
    catching_up_.pop_front();
    return state;
  }
  const auto due = next_due();
  last_ = now;
  last_seconds_ = seconds_to_next();
  if (next_ == scenario_.steps_size()) {
    is_at_end_ = true;
    return {};
  }
  ++taken_;
  scenario_step step = scenario_.step(next_++);
  begin_anew();
  if (step.has_wait_for()) {
    held_ = true;
    stop(*due);
  }
  return step;
}

double Timeline::length() const {
  return static_cast<double>(rounds() - 1) * scenario_.head().repeat_after() + end_of_round();
}

double Timeline::end_of_round() const {
  return scenario_.head().has_duration() ? scenario_.head().duration() : scenario_.last_time();
}

bool Timeline::ended() const {
  return started() && !held_ && catching_up_.empty() && next_ == scenario_.steps_size() &&
         (is_at_end_ || !scenario_.head().has_duration());
}

bool Timeline::begins_anew() const {
  return scenario_.head().has_repeat_after() && (!pace_.times || round_ + 1 < *pace_.times);
}

/// If the last step has been taken.
void Timeline::begin_anew() {
  if (next_ != scenario_.steps_size() || !begins_anew()) return;
  next_ = 0;
  ++round_;
}

ScenarioTime Timeline::at(Time now) const {
  if (is_at_once()) return ScenarioTime(last_seconds_);
  return started() ? ScenarioTime(stopped_.value_or(now) - *start_) * pace_.speed : ScenarioTime(0);
}

std::optional<Time> Timeline::when(ScenarioTime time) const {
  if (!started() || is_at_once()) return std::nullopt;
  const Time due = *start_ + std::chrono::round<Time>(time / pace_.speed);
  return stopped_ && due > *stopped_ ? std::nullopt : std::optional(due);
}

void Timeline::go_on(Time now) {
  held_ = false;
  go_on_unless_stopped(now);
}

void Timeline::pause(Time now) {
  paused_ = true;
  if (started()) stop(now);
}

void Timeline::resume(Time now) {
  paused_ = false;
  go_on_unless_stopped(now);
}

void Timeline::stop(Time now) {
  if (!stopped_) stopped_ = now;
}

void Timeline::go_on_unless_stopped(Time now) {
  if (!stopped_ || held_ || paused_) return;
  *start_ += now - *std::exchange(stopped_, std::nullopt);
  last_ = now;
}

void Timeline::seek(double seconds, Time now) {
  const std::size_t played = round_ > 0 ? scenario_.steps_size() : next_;
  round_ = 0;
  if (scenario_.head().has_repeat_after()) {
    round_ = static_cast<std::int64_t>(seconds / scenario_.head().repeat_after());
    if (pace_.times) round_ = std::min(round_, *pace_.times - 1);
  }
  is_at_end_ = false;
  const double in_round = seconds - static_cast<double>(round_) * scenario_.head().repeat_after();
  next_ = scenario_.first_at(in_round);
  auto states = states_before(scenario_, next_, {.again = round_ > 0, .forget_to = played});
  catching_up_.assign(std::move_iterator(states.begin()), std::move_iterator(states.end()));
  jumped_ = now;
  begin_anew();
  place(seconds, now);
}

void Timeline::rewind() {
  start_.reset();
  stopped_.reset();
  held_ = false;
  catching_up_.clear();
  last_seconds_ = 0;
  next_ = taken_ = 0;
  is_at_end_ = false;
  round_ = 0;
}

void Timeline::set_speed(double speed, Time now) {
  const double seconds = at(now).count();
  pace_.speed = speed;
  if (started()) place(seconds, now);
}

/// It is `seconds` now.
void Timeline::place(double seconds, Time now) {
  last_seconds_ = seconds;
  if (!is_at_once()) start_ = stopped_.value_or(now) - std::chrono::round<Time>(ScenarioTime(seconds / pace_.speed));
}

double Timeline::seconds_to_next() const {
  const double in_round = next_ == scenario_.steps_size() ? end_of_round() : scenario_.time_of(next_);
  return static_cast<double>(round_) * scenario_.head().repeat_after() + in_round;
}

}  // namespace kelvane_hub
