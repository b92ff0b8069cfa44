#include "hub/scenario/part.h"

#include <limits>

#include "hub/scenario/states.h"

namespace kelvane_hub {

PackedScenario part_of(const PackedScenario& whole) {
  const double start = whole.head().start();
  const double end =
      whole.head().has_duration() ? start + whole.head().duration() : std::numeric_limits<double>::infinity();
  PackedScenario part = whole.without_steps();
  const std::size_t first = whole.first_at(start);
  for (scenario_step& state : states_before(whole, first, {})) {
    state.set_at(0);
    part.add_step(state);
  }
  for (std::size_t i = first; i < whole.steps_size() && whole.time_of(i) < end; ++i) {
    scenario_step step = whole.step(i);
    step.set_at(whole.time_of(i) - start);
    part.add_step(step);
  }
  return part;
}

}  // namespace kelvane_hub
