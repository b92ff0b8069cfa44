#include "hub/testbench/announcer.h"

#include <cstddef>

#include "hub/base/concat.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {

void Announcer::on_end(ScenarioTime time) {
  const std::size_t steps = timeline_->taken();
  say_(concat("the scenario is over: ", steps, steps == 1 ? " step" : " steps", " in ", shown_seconds(time.count()),
              " s; its last state stays"));
}

}  // namespace kelvane_hub
