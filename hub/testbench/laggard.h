// Says that a hub cannot follow, and what it does about it.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "hub/simulator/watcher.h"

namespace kelvane_hub {

class Laggard final : public Watcher {
 public:
  /// Takes one line without newline.
  using Say = std::function<void(const std::string& line)>;

  explicit Laggard(Say say) : say_(std::move(say)) {}

  void on_behind(Time late) override;

 private:
  Say say_;
};

}  // namespace kelvane_hub
