// What a picture shows: a run or a scenario as curves and states over time.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "hub/messages/quantities.h"
#include "hub/report/run.h"
#include "hub/scenario/packed_scenario.h"

namespace kelvane_hub {

struct Point {
  double time;
  double value;
};

/// A value for as long as it is known and its technology serves: each point holds until the next.
using Stretch = std::vector<Point>;

struct Curve {
  const Quantity* quantity;
  std::vector<Stretch> stretches;
};

/// A time with a state.
struct Span {
  double begin;
  double end;
  std::int32_t state = 1;

  bool operator==(const Span&) const = default;
};

/// What states are of. Those of `outage` and `perhaps_outage` are times without a serving cell: an outage that began
/// between two moments perhaps is one between these, and surely is one from the later on.
enum class Strip : std::uint8_t {
  outage,
  perhaps_outage,
  technology,  // its states are cell types
  rrc_lte,
  rrc_nr,
  rrc_wcdma,
  calls,  // at least one voice call
  rail_lte,
  rail_nr,
};

struct SubscriptionTrack {
  std::uint32_t sub = 0;
  bool has_cell_reports = false;
  std::vector<Curve> curves;  // in the order of quantities()
  std::map<Strip, std::vector<Span>> strips;
  /// When a serving cell took the place of another of its technology, or of another technology.
  std::vector<double> cell_changes;
  std::vector<double> technology_changes;
};

/// Times are seconds from the first report of a run, or the beginning of a scenario.
struct Track {
  /// What is counted, for the axis.
  std::string clock;
  double begin = 0;
  double end = 0;
  std::vector<SubscriptionTrack> subscriptions;  // by number
};

/// The serving cell is the first that is registered. Times are those of times_of(run). The states at the end are drawn
/// a little beyond the last report, to be seen.
Track track_of(const Run& run);

/// The same of the steps of a scenario, played once, by their own time; where it repeats itself, up to then.
Track track_of(const PackedScenario& played);

}  // namespace kelvane_hub
