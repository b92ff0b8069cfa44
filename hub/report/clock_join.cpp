#include "hub/report/clock_join.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvane_hub {
namespace {

// A hub plays scenarios at 0.01 to 10000 times their speed; what fits is so much less or more, log times being whole.
constexpr double least_speed = 0.01 / 1.1;
constexpr double greatest_speed = 10000 * 1.1;

/// Through fewer readings than these many lines go.
constexpr std::size_t fewest_for_a_fit = 4;

/// The offsets at which all reports that are prompt were printed within the second of their log time.
std::optional<ClockJoin> join_at(double speed, std::span<const ClockReading> readings) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  ClockJoin join{speed, -infinity, infinity};
  // However late a report came, it was not printed before its timestamp.
  for (const auto& [timestamp, log_time] : readings) {
    join.greatest_offset = std::min(join.greatest_offset, log_time + 1 - timestamp / speed);
  }
  std::size_t prompt = 0;
  for (const ClockReading& reading : readings) {
    if (!join.is_prompt(reading)) continue;
    ++prompt;
    join.least_offset = std::max(join.least_offset, reading.log_time - reading.timestamp / speed);
  }
  const bool are_most = 4 * prompt >= 3 * readings.size();
  return are_most && !readings.empty() ? std::optional(join) : std::nullopt;
}

/// The speed of the line that has the least squares of distances from `readings`; 0 if there is none.
double fit_speed(std::span<const ClockReading> readings) {
  const auto count = static_cast<double>(readings.size());
  ClockReading mean{0, 0};
  for (const auto& [timestamp, log_time] : readings) {
    mean.timestamp += timestamp / count;
    mean.log_time += log_time / count;
  }
  double covariance = 0;
  double variance = 0;
  for (const auto& [timestamp, log_time] : readings) {
    covariance += (timestamp - mean.timestamp) * (log_time - mean.log_time);
    variance += (timestamp - mean.timestamp) * (timestamp - mean.timestamp);
  }
  return covariance > 0 ? variance / covariance : 0;
}

/// Fewer readings than these do not bear out that the clock was set.
constexpr std::size_t fewest_of_a_piece = 2;

/// More often the clock is not set in a run.
constexpr int greatest_depth = 16;

/// The reading before which the log's clock has gone most otherwise than the sensor's. There are two at least.
std::size_t greatest_step(std::span<const ClockReading> readings) {
  std::size_t place = 1;
  double greatest = -1;
  for (std::size_t i = 1; i < readings.size(); ++i) {
    const double logged = readings[i].log_time - readings[i - 1].log_time;
    const double step = std::abs(logged - (readings[i].timestamp - readings[i - 1].timestamp));
    if (step > greatest) greatest = step, place = i;
  }
  return place;
}

/// Whether some readings that are late by `join` are so by the same time, as when the clock was set; those that a phone
/// has slept over come out at once.
bool has_another_clock(std::span<const ClockReading> readings, const ClockJoin& join) {
  constexpr double least_span = 2;  // within less, both look alike in whole seconds
  if (join.is_fitted) return false;
  for (std::size_t i = 1; i < readings.size(); ++i) {
    if (!join.is_late(readings[i - 1]) || !join.is_late(readings[i])) continue;
    const double span = readings[i].timestamp - readings[i - 1].timestamp;
    const double logged = readings[i].log_time - readings[i - 1].log_time;
    if (span >= least_span && std::abs(logged - span) < 1) return true;
  }
  return false;
}

/// The pieces; none if that cannot be done.
std::vector<JoinedReadings> divide(std::span<const ClockReading> readings, int depth) {
  const auto join = join_clocks(readings);
  std::vector<JoinedReadings> whole;
  if (join) whole.push_back({readings.size(), *join});
  if (join && !has_another_clock(readings, *join)) return whole;
  if (depth == greatest_depth || readings.size() < 2 * fewest_of_a_piece) return whole;
  const std::size_t place = greatest_step(readings);
  if (std::min(place, readings.size() - place) < fewest_of_a_piece) return whole;
  std::vector<JoinedReadings> pieces = divide(readings.first(place), depth + 1);
  const std::vector<JoinedReadings> others = divide(readings.subspan(place), depth + 1);
  if (pieces.empty() || others.empty()) return whole;
  pieces.insert(pieces.end(), others.begin(), others.end());
  return pieces;
}

}  // namespace

std::optional<ClockJoin> join_clocks(std::span<const ClockReading> readings) {
  if (const auto join = join_at(1, readings)) return join;
  if (readings.size() < fewest_for_a_fit) return {};
  const double speed = fit_speed(readings);
  if (!(speed >= least_speed && speed <= greatest_speed)) return {};
  auto join = join_at(speed, readings);
  if (join) join->is_fitted = true;
  return join;
}

std::vector<JoinedReadings> join_pieces(std::span<const ClockReading> readings) { return divide(readings, 0); }

}  // namespace kelvane_hub
