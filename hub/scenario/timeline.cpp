#include "hub/scenario/timeline.h"

#include <utility>

namespace kelvane_hub {

std::optional<Time> Timeline::next_due() const {
  if (!started() || held_ || ended()) return std::nullopt;
  if (is_at_once()) return last_;
  return *start_ + std::chrono::round<Time>(ScenarioTime(seconds_to_next() / pace_.speed));
}

scenario_step Timeline::take_next(Time now) {
  const auto due = next_due();
  ++taken_;
  last_ = now;
  last_seconds_ = seconds_to_next();
  scenario_step step = scenario_.step(next_++);
  if (next_ == scenario_.steps_size() && begins_anew()) {
    next_ = 0;
    ++round_;
  }
  if (step.has_wait_for()) held_ = due;
  return step;
}

double Timeline::length() const {
  return static_cast<double>(rounds() - 1) * scenario_.head().repeat_after() + scenario_.last_time();
}

bool Timeline::ended() const { return started() && !held_ && next_ == scenario_.steps_size(); }

bool Timeline::begins_anew() const {
  return scenario_.head().has_repeat_after() && (!pace_.times || round_ + 1 < *pace_.times);
}

ScenarioTime Timeline::at(Time now) const {
  if (is_at_once()) return ScenarioTime(last_seconds_);
  return started() ? ScenarioTime(held_.value_or(now) - *start_) * pace_.speed : ScenarioTime(0);
}

void Timeline::go_on(Time now) {
  *start_ += now - *std::exchange(held_, std::nullopt);
  last_ = now;
}

double Timeline::seconds_to_next() const {
  return static_cast<double>(round_) * scenario_.head().repeat_after() + scenario_.time_of(next_);
}

}  // namespace kelvane_hub
