// When the events of a run happened.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "hub/messages/observation.h"
#include "hub/report/run.h"

namespace kelvane_hub {

/// The clock that an axis of time is counted by.
enum class RunClock : std::uint8_t {
  none,    // no event of the run has a time: all are at 0
  log,     // the clock of the phone
  sensor,  // that of the cells' timestamps, which goes as many times as fast as a sped-up scenario is played
};

/// The times of a run's events, one for each of them and in their order, twice. The sensor's do not fall from event to
/// event; the log's do where that clock was set back, and at a report that came out late.
struct RunTimes {
  /// What `axis` is counted by: the sensor's clock if the timestamps of the whole run grow, otherwise the log's.
  RunClock clock = RunClock::none;
  /// Seconds of that clock since the run's first event. By the sensor's clock, an event whose cells have a new
  /// timestamp, or have changed once more at that, is exact, and another is between those around it, even if one of
  /// these came out late.
  std::vector<RunTime> axis;

  /// Seconds since 1970 at which `log` begins; nothing if no event has a log time.
  std::optional<std::int64_t> epoch;
  /// Seconds of the log's clock since `epoch`. No bound is carried over a time at which that clock was seen to be set.
  std::vector<RunTime> log;
};

/// Dates every event of `run`, also those that have no time of their own: by what stands around them.
RunTimes times_of(const Run& run);

}  // namespace kelvane_hub
