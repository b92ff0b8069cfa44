#include "hub/testbench/announcer.h"

#include "hub/base/concat.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {

void Announcer::on_end(ScenarioTime time) {
  say_(concat("the scenario is over: ", steps_, steps_ == 1 ? " step" : " steps", " in ", shown_seconds(time.count()),
              " s; its last state stays"));
}

}  // namespace kelvane_hub
