#pragma once

#include <cstddef>
#include <vector>

#include "hub/report/bounds.h"
#include "hub/report/run.h"

namespace kelvane_hub {

/// Narrows what is known of the times of the events `first` to `last` of `run` by the order in which they stand there,
/// between its lines of listening too, which come every three seconds. `events` has the bounds of all events.
void narrow_by_order(std::vector<Bounds>& events, const Run& run, std::size_t first, std::size_t last);

/// The same of times that are known to be in order, without such lines.
void narrow_by_order(std::vector<Bounds>& times);

}  // namespace kelvane_hub
