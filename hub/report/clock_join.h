// How the clock of the cells' timestamps stands to that of the log times.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace kelvane_hub {

/// A report that has both times, in seconds. The log time is a whole one: the report was printed within a second after
/// it.
struct ClockReading {
  double timestamp;
  double log_time;
};

/// A timestamp stands for the log time timestamp / speed + offset.
struct ClockJoin {
  double speed = 1;            // how many seconds the sensor's clock counts in one of the log's
  double least_offset = 0;     // the offset is not less
  double greatest_offset = 0;  // nor more
  bool is_fitted = false;      // the speed is not 1 but one that fits: timestamps tell the log time roughly

  double log_time_of(double timestamp) const { return timestamp / speed + (least_offset + greatest_offset) / 2; }
  /// Whether the report came out when its timestamp says: some tell of what has been for a while.
  bool is_prompt(const ClockReading& reading) const {
    return reading.log_time - reading.timestamp / speed <= greatest_offset;
  }
  /// Whether it surely came out later: a speed that only fits makes some come out a little late.
  bool is_late(const ClockReading& reading) const {
    return reading.log_time - reading.timestamp / speed > greatest_offset + (is_fitted ? 1 : 0);
  }
};

/// Readings between which no clock was set.
struct JoinedReadings {
  std::size_t count;
  ClockJoin join;
};

/// Joins the clocks through `readings`, whose timestamps grow, so that most of them are prompt; at the same speed if
/// that is possible. Nothing if they cannot be joined.
std::optional<ClockJoin> join_clocks(std::span<const ClockReading> readings);

/// Joins them piece by piece, in their order, where the log's clock was set in between. Empty if that cannot be done so
/// that several readings bear out each piece.
std::vector<JoinedReadings> join_pieces(std::span<const ClockReading> readings);

}  // namespace kelvane_hub
