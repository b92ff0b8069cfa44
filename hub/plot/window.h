// A part of a track.
#pragma once

#include <cstdint>
#include <optional>

#include "hub/plot/track.h"

namespace kelvane_hub {

/// What is to be shown of a track; absent: everything.
struct Window {
  std::optional<double> from;  // seconds, 0 or more
  std::optional<double> to;    // seconds, more than `from`
  std::optional<std::uint32_t> sub;
};

/// The part of `track` that `window` is open to, with the values and states that hold when it begins. Throws
/// InputError,
/// "--from: expected …, found …", if the track has no such time or subscription.
Track part_of(Track track, const Window& window);

}  // namespace kelvane_hub
