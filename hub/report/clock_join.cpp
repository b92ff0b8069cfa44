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

/// Adds the pieces to `pieces`. Returns whether that could be done.
bool add_pieces(std::span<const ClockReading> readings, int depth, std::vector<JoinedReadings>& pieces) {
  if (readings.size() < fewest_of_a_piece) return false;
  if (const auto join = join_clocks(readings)) {
    pieces.push_back({readings.size(), *join});
    return true;
  }
  if (depth == greatest_depth || readings.size() < 2 * fewest_of_a_piece) return false;
  const std::size_t place = greatest_step(readings);
  return add_pieces(readings.first(place), depth + 1, pieces) && add_pieces(readings.subspan(place), depth + 1, pieces);
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

std::vector<JoinedReadings> join_pieces(std::span<const ClockReading> readings) {
  if (const auto join = join_clocks(readings)) return {{readings.size(), *join}};
  std::vector<JoinedReadings> pieces;
  if (!add_pieces(readings, 0, pieces)) pieces.clear();
  return pieces;
}

}  // namespace kelvane_hub
