#include "hub/testbench/performance.h"

#include <utility>

namespace kelvane_hub {

Performance::Performance(PackedScenario played, Pace pace, Delivery& delivery, Judge::Tell tell)
    : played_(std::move(played)),
      timeline_(played_, pace),
      judge_(played_, timeline_, pace.speed, std::move(tell)),
      simulator_(played_, timeline_, delivery) {
  simulator_.watch(judge_);
}

void Performance::seek(double seconds, Time now) {
  const ScenarioTime before = timeline_.at(now);
  timeline_.seek(seconds, now);
  simulator_.note_jump(timeline_.at(now) - before);
}

void Performance::await_first_client(Time now) {
  judge_.forget_requests();
  restart(now);
}

std::optional<Time> Performance::next_due() const {
  // What was waited for has come.
  if (timeline_.is_held() && !judge_.is_waiting()) return Time::zero();
  return earlier(judge_.next_due(), simulator_.next_due());
}

void Performance::advance(Time now) {
  judge_.advance(now);
  if (timeline_.is_held() && !judge_.is_waiting()) timeline_.go_on(now);
  simulator_.advance(now);
}

}  // namespace kelvane_hub
