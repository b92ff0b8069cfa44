#pragma once

#include <limits>

namespace kelvane_hub {

inline constexpr double forever = std::numeric_limits<double>::infinity();

/// What is known of a time, in seconds.
struct Bounds {
  double earliest = -forever;
  double latest = forever;
};

}  // namespace kelvane_hub
