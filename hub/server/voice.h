// What a hub says on standard error while it serves.
#pragma once

#include <string_view>

#include "hub/base/line_queue.h"

namespace kelvane_hub {

enum class About { itself, clients, scenario, explanations };

/// Never lets the hub wait, whoever reads. Any thread.
class Voice {
 public:
  Voice();

  /// "kelvane-hub: LINE".
  void say(About about, std::string_view line) { lines_.say(static_cast<std::size_t>(about), line); }

 private:
  LineQueue lines_;
};

}  // namespace kelvane_hub
