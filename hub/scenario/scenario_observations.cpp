#include "hub/scenario/scenario_observations.h"

#include <cstdint>
#include <set>

#include "hub/scenario/step.h"

namespace kelvane_hub {
namespace {

void observe_start(std::uint32_t sub, const Observer& observer) {
  mox_wwan_event_serving_neighboring_cell_info none;
  none.set_sub(sub);
  observer({{}, 0, none});
}

}  // namespace

double end_of(const PackedScenario& played) {
  const scenario& head = played.head();
  if (head.has_repeat_after()) return head.repeat_after();
  return head.has_duration() ? head.duration() : played.last_time();
}

void observe(const PackedScenario& played, const Observer& observer) {
  std::set<std::uint32_t> begun;  // those that have been given cells
  for (std::size_t i = 0; i < played.steps_size(); ++i) {
    scenario_step step = played.step(i);
    if (step.has_cells() && played.head().fill_timestamps()) {
      fill_timestamps(*step.mutable_cells(), ScenarioTime(step.at()));
    }
    const auto* const event = event_in(step);
    if (event == nullptr) continue;
    const bool is_first = step.has_cells() && begun.insert(step.cells().sub()).second;
    if (is_first && step.at() > 0) observe_start(step.cells().sub(), observer);
    observer({{step.at(), step.at(), step.at()}, i + 1, *event});
  }
}

}  // namespace kelvane_hub
