// A picture in gnuplot's language.
#pragma once

#include <string>

#include "hub/plot/picture_format.h"
#include "hub/plot/track.h"

namespace kelvane_hub {

/// The script that draws `track` in that format on standard output. `title` is UTF-8 without control characters.
std::string script_of(const Track& track, const std::string& title, const PictureFormat& format);

}  // namespace kelvane_hub
