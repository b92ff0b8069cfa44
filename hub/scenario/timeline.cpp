#include "hub/scenario/timeline.h"

namespace kelvane_hub {

std::optional<Time> Timeline::next_due() const {
  if (!started() || ended()) return std::nullopt;
  return *start_ + std::chrono::round<Time>(ScenarioTime(seconds_to_next() / speed_));
}

scenario_step Timeline::take_next() {
  scenario_step step = scenario_.step(next_++);
  if (next_ == scenario_.steps_size() && scenario_.head().has_repeat_after()) {
    next_ = 0;
    ++round_;
  }
  return step;
}

ScenarioTime Timeline::at(Time now) const { return started() ? ScenarioTime(now - *start_) * speed_ : ScenarioTime(0); }

double Timeline::seconds_to_next() const {
  return static_cast<double>(round_) * scenario_.head().repeat_after() + scenario_.time_of(next_);
}

}  // namespace kelvane_hub
