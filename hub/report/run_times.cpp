#include "hub/report/run_times.h"

#include <limits>

namespace kelvane_hub {
namespace {

constexpr double forever = std::numeric_limits<double>::infinity();

std::optional<std::int64_t> log_time_of(const RunEvent& event) {
  if (event.log_time) return event.log_time;
  if (event.log_times_of_cells.empty()) return {};
  return event.log_times_of_cells.front();
}

}  // namespace

RunTimes times_of(const Run& run) {
  RunTimes times;
  double now = 0;
  for (const RunEvent& event : run.events) {
    const auto time = log_time_of(event);
    if (time && !times.epoch) times.epoch = time;
    if (time) now = static_cast<double>(*time) - static_cast<double>(*times.epoch);
    times.log.push_back({now, time ? now : -forever, time ? now + 1 : forever});
  }
  times.clock = times.epoch ? RunClock::log : RunClock::none;
  times.axis = times.log;
  return times;
}

}  // namespace kelvane_hub
