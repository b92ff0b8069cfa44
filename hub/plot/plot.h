// A run or a scenario as a picture.
#pragma once

#include <string>

#include "hub/plot/picture_format.h"
#include "hub/plot/track.h"

namespace kelvane_hub {

/// Draws `track` in that format: the signal of the serving cell, its quality and its states over time, by subscription
/// and technology; SVG is for light and dark backgrounds. `source` is what it came from, of any bytes, as a title.
/// Throws InputError if gnuplot is missing, fails or hangs.
std::string draw(const Track& track, const std::string& source, const PictureFormat& format);

}  // namespace kelvane_hub
