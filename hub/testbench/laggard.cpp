#include "hub/testbench/laggard.h"

#include "hub/base/concat.h"

namespace kelvane_hub {

void Laggard::on_behind(Time late) {
  say_(concat(std::chrono::round<std::chrono::seconds>(late).count(),
              " s behind: steps are played late, none is left out; periodic reports that were missed are"));
}

void Laggard::on_full(std::size_t bytes) {
  say_(concat(bytes >> 20, " MiB of messages that faults delay wait already: the next ones come at once"));
}

}  // namespace kelvane_hub
