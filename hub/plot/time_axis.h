// The ticks of a time axis.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kelvane_hub {

struct TimeAxis {
  std::string unit;                                   // of the ticks: "s", "min:s", "h:min" or "h:min:s"
  std::vector<std::pair<double, std::string>> ticks;  // seconds, and what stands there: no two are the same
};

/// At most eleven ticks at round times from `begin` to `end`, in seconds.
TimeAxis time_axis(double begin, double end);

}  // namespace kelvane_hub
