// Says when a scenario is over.
#pragma once

#include <utility>

#include "hub/scenario/timeline.h"
#include "hub/simulator/watcher.h"
#include "hub/testbench/say.h"

namespace kelvane_hub {

class Announcer final : public Watcher {
 public:
  explicit Announcer(Say say) : say_(std::move(say)) {}

  /// Whose steps are counted from now on; outlives what this object watches.
  void follow(const Timeline& timeline) { timeline_ = &timeline; }

  /// To be called when there is a scenario to follow.
  void on_end(ScenarioTime time) override;

 private:
  Say say_;
  const Timeline* timeline_ = nullptr;
};

}  // namespace kelvane_hub
