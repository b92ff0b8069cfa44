// Says when a scenario is over.
#pragma once

#include <cstddef>
#include <utility>

#include "hub/simulator/watcher.h"
#include "hub/testbench/say.h"

namespace kelvane_hub {

class Announcer final : public Watcher {
 public:
  explicit Announcer(Say say) : say_(std::move(say)) {}

  void on_step(const scenario_step& /*step*/, Time /*now*/) override { ++steps_; }
  void on_rewind() override { steps_ = 0; }
  void on_end(ScenarioTime time) override;

 private:
  Say say_;
  std::size_t steps_ = 0;
};

}  // namespace kelvane_hub
