// The measures of a run, a scenario, a drive or a capture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hub/analysis/evaluated_file.h"
#include "hub/messages/quantities.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {

/// A change back to the cell before, after at most so many seconds, is ping-pong.
inline constexpr double longest_ping_pong = 5;

/// For how long a subscription was served by a cell.
struct CellTime {
  const Technology* technology;
  mox_wwan_cell_info cell;  // with its identity only; without one: of this technology, by a cell of unknown identity
  double seconds = 0;
  std::size_t visits = 0;
};

/// A time without a registered cell.
struct Outage {
  RunTime begin;
  double end = 0;
  bool goes_on = false;  // at the end of what was looked at

  double seconds() const { return end - begin.seconds; }
};

struct Call {
  std::uint32_t id = 0;
  double begin = 0;
  double end = 0;
  bool goes_on = false;
  std::vector<std::int32_t> states;  // in their order

  double seconds() const { return end - begin; }
};

/// Of the serving cell's reports; percentiles are values that were reported (nearest rank).
struct Statistic {
  const Quantity* quantity;
  std::size_t count;
  double lowest, percentile_5, median, percentile_95, highest;
};

/// Seconds by state.
using StateTimes = std::map<std::int32_t, double>;

struct SubscriptionDigest {
  std::uint32_t sub = 0;
  // Where the time went from beginning to end: these four add up to it.
  std::map<std::int32_t, double> technologies;  // by cell type
  double out = 0;                               // without a registered cell
  double unknown_technology = 0;                // registered in a cell of a type that is not known
  double before_cells = 0;                      // before the first report of cells

  std::vector<CellTime> cells;  // the longest first
  std::size_t cell_changes = 0;
  std::size_t technology_changes = 0;
  std::size_t ping_pongs = 0;
  std::vector<Outage> outages;
  std::vector<Call> calls;
  std::vector<Statistic> statistics;            // in the order of all_quantities()
  std::map<std::string, StateTimes> rrc_times;  // by field: "lte_rrc_state"
};

/// The longest time without a report, of any kind and subscription.
struct Silence {
  double begin = 0;
  double seconds = 0;
};

struct Digest {
  Extent extent;
  std::size_t reports = 0;
  std::size_t undated = 0;  // of these, without a time of their own
  Silence silence;
  std::vector<SubscriptionDigest> subscriptions;  // by number
};

/// Each value and state holds until the next report of its kind and subscription, or to the end. The serving cell is
/// the first that is registered.
Digest digest_of(const EvaluatedFile& file);

}  // namespace kelvane_hub
