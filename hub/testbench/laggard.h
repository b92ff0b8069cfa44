// Says that a hub cannot follow, and what it does about it.
#pragma once

#include <utility>

#include "hub/simulator/watcher.h"
#include "hub/testbench/say.h"

namespace kelvane_hub {

/// Says in one line, each time that the simulator falls behind, by how many seconds; and when faults keep back too
/// much.
class Laggard final : public Watcher {
 public:
  explicit Laggard(Say say) : say_(std::move(say)) {}

  void on_behind(Time late) override;
  void on_full(std::size_t bytes) override;

 private:
  Say say_;
};

}  // namespace kelvane_hub
