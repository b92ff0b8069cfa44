// What a hub says on standard error while it serves.
#pragma once

#include <string_view>

#include "hub/base/line_queue.h"
#include "hub/testbench/say.h"

namespace kelvane_hub {

enum class About { itself, clients, scenario, explanations, progress };

/// Never lets the hub wait, whoever reads. Any thread.
class Voice {
 public:
  Voice();

  /// "kelvane-hub: LINE".
  void say(About about, std::string_view line) { lines_.say(static_cast<std::size_t>(about), line); }

  /// "TEXT" below all lines of a terminal, until there is another; empty: nothing any more.
  void show(std::string_view text) { lines_.show(static_cast<std::size_t>(About::progress), text); }

  /// For whoever has lines about one thing only, and need not know this object, which outlives it.
  Say teller(About about) {
    return [this, about](const std::string& line) { say(about, line); };
  }

 private:
  LineQueue lines_;
};

}  // namespace kelvane_hub
