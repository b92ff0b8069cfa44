#include "hub/report/clock_join.h"

#include <algorithm>
#include <limits>

namespace kelvane_hub {
namespace {

// A hub plays scenarios at these speeds.
constexpr double least_speed = 0.01;
constexpr double greatest_speed = 10000;

/// Through fewer readings than these many lines go.
constexpr std::size_t fewest_for_a_fit = 4;

/// The offsets at which all reports that are prompt were printed within the second of their log time.
std::optional<ClockJoin> join_at(double speed, const std::vector<ClockReading>& readings) {
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
double fit_speed(const std::vector<ClockReading>& readings) {
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

}  // namespace

std::optional<ClockJoin> join_clocks(const std::vector<ClockReading>& readings) {
  if (const auto join = join_at(1, readings)) return join;
  if (readings.size() < fewest_for_a_fit) return {};
  const double speed = fit_speed(readings);
  if (!(speed >= least_speed && speed <= greatest_speed)) return {};
  auto join = join_at(speed, readings);
  if (join) join->is_fitted = true;
  return join;
}

}  // namespace kelvane_hub
