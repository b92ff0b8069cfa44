// As much of a track as a picture can show.
#pragma once

#include "hub/plot/track.h"

namespace kelvane_hub {

/// `track` with at most four points of each curve in each of so many equal times, and no states or outages shorter than
/// these: of several, the longest stays. A curve still reaches each of its highest and lowest values. A gap that is
/// shorter may close.
Track thinned(Track track, int buckets);

}  // namespace kelvane_hub
