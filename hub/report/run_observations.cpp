#include "hub/report/run_observations.h"

#include <algorithm>

#include "hub/report/sensor_clock.h"

namespace kelvane_hub {
namespace {

/// The same, but not before `now`, nor after `next` where that is later.
RunTime bounded(const RunTime& time, double now, double next) {
  const double seconds = std::max(time.seconds, now);
  return {seconds, std::clamp(time.earliest, now, seconds), std::clamp(time.latest, seconds, std::max(next, seconds))};
}

bool is_as_sent(const RunEvent& event) { return event.payload == event.message->SerializeAsString(); }

}  // namespace

std::string_view name_of(RunClock clock) {
  switch (clock) {
    case RunClock::sensor:
      return "timestamps";
    case RunClock::log:
      return "log time";
    case RunClock::none:
      return "no clock";
  }
  return "";
}

double last_time(const RunTimes& times) {
  double last = 0;
  for (const RunTime& time : times.axis) last = std::max(last, time.seconds);
  return last;
}

void observe(const Run& run, const RunTimes& times, double end, const Observer& observer) {
  double now = 0;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const RunEvent& event = run.events[i];
    const RunTime time = bounded(times.axis[i], now, i + 1 < times.axis.size() ? times.axis[i + 1].seconds : end);
    observer({time, event.line, *event.message, is_as_sent(event), log_time_of(event).has_value()});
    now = time.seconds;
  }
}

}  // namespace kelvane_hub
