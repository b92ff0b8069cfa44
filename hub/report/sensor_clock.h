// The clock of a run's timestamps, beside that of its log times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "hub/report/bounds.h"
#include "hub/report/clock_join.h"
#include "hub/report/run.h"

namespace kelvane_hub {

/// A report whose timestamp tells when it happened.
struct Reading {
  std::size_t event;
  ClockReading clocks;
  bool is_new = true;             // the timestamp; or else cells have changed once more at that of the reading before
  std::optional<ClockJoin> join;  // of the clocks at that time

  bool is_late() const { return join && join->is_late(clocks); }
  /// When it was by the log's clock. It has a join.
  Bounds log_bounds() const {
    return {clocks.timestamp + join->least_offset, clocks.timestamp + join->greatest_offset};
  }
};

/// Those whose timestamps grow. Where the timestamps of a subscription fall, the sensor's clock has begun anew.
using Stretch = std::vector<Reading>;

/// The log time of an event's report, in seconds since 1970; none if it has none.
std::optional<std::int64_t> log_time_of(const RunEvent& event);

/// From one log time to another, in seconds, without overflow; as exact as a double is.
double seconds_between(std::int64_t from, std::int64_t to);

/// The stretches of a run, in their order. Timestamps are counted from the first of the run, log times from `epoch`.
std::vector<Stretch> stretches_of(const Run& run, std::int64_t epoch);

/// Of each event, what its timestamp tells; null: nothing.
std::vector<const Reading*> readings_of(const std::vector<Stretch>& stretches, std::size_t event_count);

}  // namespace kelvane_hub
