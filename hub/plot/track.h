// What a plot shows: a run or a scenario as curves over time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hub/report/run.h"
#include "scenario.pb.h"

namespace kelvane_hub {

struct Point {
  double time;
  double dbm;
};

/// A serving cell's signal for as long as its technology stays and it is known: it keeps each value until the next.
using Stretch = std::vector<Point>;

/// All stretches of a technology on a subscription.
struct Curve {
  std::int32_t cell_type;
  std::uint32_t sub;
  std::vector<Stretch> stretches;
};

/// A time with at least one voice call.
struct CallTime {
  double begin;
  double end;
};

/// Times are seconds from the first report of a run, or the beginning of a scenario.
struct Track {
  /// What `time` is counted in, for the axis.
  std::string clock;
  double end = 0;
  std::vector<Curve> curves;  // by subscription, then by cell type
  std::vector<double> cell_changes;
  std::vector<CallTime> calls;
};

/// The serving cell is the first that is registered. Its time is the sensor's timestamp where those grow from cell to
/// cell, else the log time; what has no timestamp has that of the cells before it.
Track track_of(const Run& run);

/// The same of the steps of a scenario, played once, by their own time.
Track track_of(const scenario& played);

}  // namespace kelvane_hub
