// A run or a scenario as a picture.
#pragma once

#include <string>

#include "hub/plot/track.h"

namespace kelvane_hub {

/// Draws `track` as SVG: the serving signal over time, a colour and a dash for each technology, a mark at each cell
/// change, a bar for each time with voice calls. For light and dark backgrounds. `title` is shown as it is. Throws
/// InputError if gnuplot is missing or fails.
std::string draw(const Track& track, const std::string& title);

}  // namespace kelvane_hub
