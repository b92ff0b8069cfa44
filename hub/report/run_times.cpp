#include "hub/report/run_times.h"

#include <algorithm>
#include <utility>

#include "hub/report/bounds.h"
#include "hub/report/run_order.h"
#include "hub/report/sensor_clock.h"

namespace kelvane_hub {
namespace {

// ---- the log's clock ----

std::optional<std::int64_t> first_log_time(const Run& run) {
  for (const RunEvent& event : run.events) {
    if (const auto time = log_time_of(event)) return time;
  }
  return {};
}

/// Events between which the log's clock was not set. It was at an unknown time between one section and the next, so
/// that what has no time of its own there is in neither.
struct Section {
  std::size_t first;
  std::size_t last;
  const ClockJoin* join;  // null: none
};

bool is_same(const ClockJoin& a, const ClockJoin& b) {
  return a.speed == b.speed && a.least_offset == b.least_offset && a.greatest_offset == b.greatest_offset;
}

/// Divides events, of which there is one at least.
std::vector<Section> sections_of(const Run& run, const std::vector<const Reading*>& readings) {
  std::vector<Section> sections{{0, 0, nullptr}};
  std::optional<std::size_t> last;  // that has a log time
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const auto time = log_time_of(run.events[i]);
    if (!time || (readings[i] != nullptr && readings[i]->is_late())) continue;
    const ClockJoin* const join = readings[i] != nullptr && readings[i]->join ? &*readings[i]->join : nullptr;
    const ClockJoin* const before = sections.back().join;
    const bool is_set = join != nullptr && before != nullptr && !is_same(*join, *before);
    if (last && (*time < *log_time_of(run.events[*last]) || is_set)) {
      sections.back().last = *last;
      sections.push_back({i, i, nullptr});
    }
    if (sections.back().join == nullptr) sections.back().join = join;
    last = i;
  }
  sections.back().last = run.events.size() - 1;
  return sections;
}

double middle_of(const Bounds& bounds) {
  if (bounds.earliest == -forever) return bounds.latest == forever ? 0 : bounds.latest;
  return bounds.latest == forever ? bounds.earliest : (bounds.earliest + bounds.latest) / 2;
}

// ---- the two axes ----

/// Estimates within their bounds; none is before the one in front of it, if that can be.
std::vector<RunTime> estimate(const std::vector<Bounds>& bounds, const std::vector<double>& guesses) {
  std::vector<RunTime> times;
  double last = -forever;
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    const auto& [earliest, latest] = bounds[i];
    const double least = last <= latest ? std::max(earliest, last) : earliest;
    last = std::clamp(guesses[i], least, latest);
    times.push_back({last, earliest, latest});
  }
  return times;
}

std::vector<double> middles_of(const std::vector<Bounds>& bounds) {
  std::vector<double> middles;
  std::ranges::transform(bounds, std::back_inserter(middles), middle_of);
  // What nothing stands before is as late as what follows.
  for (std::size_t i = bounds.size(); i-- > 1;) {
    if (bounds[i - 1].earliest == -forever) middles[i - 1] = std::min(middles[i - 1], middles[i]);
  }
  return middles;
}

/// Of each event, the reading before it (or its own) and that after it (or its own); null if there is none.
struct Neighbours {
  const Reading* before = nullptr;
  const Reading* after = nullptr;
};

std::vector<Neighbours> neighbours_of(const std::vector<const Reading*>& readings) {
  std::vector<Neighbours> neighbours(readings.size());
  const Reading* last = nullptr;
  for (std::size_t i = 0; i < readings.size(); ++i) {
    neighbours[i].before = last = readings[i] != nullptr ? readings[i] : last;
  }
  last = nullptr;
  for (std::size_t i = readings.size(); i-- > 0;) {
    neighbours[i].after = last = readings[i] != nullptr ? readings[i] : last;
  }
  return neighbours;
}

/// What an event's own times tell. A report that is late says nothing about when it came out but that.
Bounds own_bounds(std::optional<double> log_time, const Reading* reading) {
  if (!log_time) return {};
  const Bounds logged{*log_time, *log_time + 1};
  if (reading == nullptr || !reading->join) return logged;
  if (reading->join->is_fitted) return reading->is_late() ? Bounds() : logged;
  if (reading->is_late()) return {reading->log_bounds().earliest, forever};
  return reading->join->is_prompt(reading->clocks) ? reading->log_bounds() : logged;
}

/// What has no log time while the log's clock is set: by the one clock or the other, it is between its neighbours.
Bounds bounds_around(const Neighbours& neighbours) {
  const auto& [before, after] = neighbours;
  const auto tells = [](const Reading* reading) {
    return reading != nullptr && reading->join && !reading->join->is_fitted;
  };
  if (!tells(before) || !tells(after) || before->clocks.timestamp > after->clocks.timestamp) return {};
  if (after->is_late()) return {};  // so may be what it came out after
  const double least = std::min(before->join->least_offset, after->join->least_offset);
  const double greatest = std::max(before->join->greatest_offset, after->join->greatest_offset);
  return {before->clocks.timestamp + least, after->clocks.timestamp + greatest};
}

/// Narrows each section, and what is between them by what is around.
void narrow(std::vector<Bounds>& bounds, const Run& run, const std::vector<Section>& sections,
            const std::vector<Neighbours>& neighbours) {
  std::size_t done = 0;
  for (const Section& section : sections) {
    for (; done < section.first; ++done) {
      if (!log_time_of(run.events[done])) bounds[done] = bounds_around(neighbours[done]);
    }
    narrow_by_order(bounds, run, section.first, section.last);
    done = section.last + 1;
  }
}

/// A report that came out late happened before others that it came out after; or the log's clock was wrong for a
/// moment.
RunTime late_time_of(const Reading& reading) {
  return {reading.join->log_time_of(reading.clocks.timestamp),
          reading.join->is_fitted ? -forever : reading.log_bounds().earliest, reading.clocks.log_time + 1};
}

std::vector<RunTime> log_times_of(const Run& run, const std::vector<const Reading*>& readings,
                                  const std::vector<Section>& sections, std::int64_t epoch) {
  std::vector<Bounds> bounds;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const auto time = log_time_of(run.events[i]);
    bounds.push_back(own_bounds(time ? std::optional(seconds_between(epoch, *time)) : std::nullopt, readings[i]));
  }
  narrow(bounds, run, sections, neighbours_of(readings));
  std::vector<double> guesses = middles_of(bounds);
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    const Reading* const reading = readings[i];
    if (reading == nullptr || !reading->join || !reading->join->is_prompt(reading->clocks)) continue;
    guesses[i] = reading->join->log_time_of(reading->clocks.timestamp);
  }
  std::vector<RunTime> times = estimate(bounds, guesses);
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (readings[i] != nullptr && readings[i]->is_late()) times[i] = late_time_of(*readings[i]);
  }
  return times;
}

/// The same by the sensor's clock.
RunTime converted(const RunTime& log, const ClockJoin& join) {
  return {(log.seconds - (join.least_offset + join.greatest_offset) / 2) * join.speed,
          (log.earliest - join.greatest_offset) * join.speed, (log.latest - join.least_offset) * join.speed};
}

/// By the sensor's clock, an event is between its neighbours; closer by its log time if these agree.
RunTime sensor_time_of(const RunTime& log, const ClockJoin* join, const Neighbours& neighbours) {
  Bounds around;
  if (neighbours.before != nullptr) around.earliest = neighbours.before->clocks.timestamp;
  if (neighbours.after != nullptr) around.latest = neighbours.after->clocks.timestamp;
  const RunTime unjoined{middle_of(around), around.earliest, around.latest};
  if (join == nullptr) return unjoined;
  RunTime time = converted(log, *join);
  time.earliest = std::max(time.earliest, around.earliest);
  time.latest = std::min(time.latest, around.latest);
  return time.earliest <= time.latest ? time : unjoined;
}

/// Of each event, how the clocks stand to each other in its section; null if that is not known.
std::vector<const ClockJoin*> joins_of(const std::vector<Section>& sections, std::size_t event_count) {
  std::vector<const ClockJoin*> joins(event_count);
  for (const auto& [first, last, join] : sections) {
    for (std::size_t i = first; i <= last; ++i) joins[i] = join;
  }
  return joins;
}

std::vector<RunTime> sensor_times_of(const std::vector<RunTime>& log, const std::vector<const Reading*>& readings,
                                     const std::vector<Section>& sections) {
  const auto joins = joins_of(sections, log.size());
  const auto neighbours = neighbours_of(readings);
  std::vector<Bounds> bounds;
  std::vector<double> guesses;
  for (std::size_t i = 0; i < log.size(); ++i) {
    const RunTime time = sensor_time_of(log[i], readings[i] == nullptr ? joins[i] : nullptr, neighbours[i]);
    bounds.push_back({time.earliest, time.latest});
    guesses.push_back(time.seconds);
  }
  narrow_by_order(bounds);
  return estimate(bounds, guesses);
}

/// Times from the first of them on.
void begin_at_first(std::vector<RunTime>& times) {
  if (times.empty()) return;
  const double first = times.front().seconds;
  for (RunTime& time : times) {
    time.seconds -= first;
    time.earliest -= first;
    time.latest -= first;
  }
}

}  // namespace

RunTimes times_of(const Run& run) {
  RunTimes times;
  times.epoch = first_log_time(run);
  if (!times.epoch) {
    times.log.assign(run.events.size(), {0, -forever, forever});
    times.axis = times.log;
    return times;
  }
  const auto stretches = stretches_of(run, *times.epoch);
  const auto readings = readings_of(stretches, run.events.size());
  const auto sections = sections_of(run, readings);
  times.log = log_times_of(run, readings, sections, *times.epoch);
  const bool has_one_clock = stretches.size() == 1 && std::ranges::count(stretches[0], true, &Reading::is_new) > 1;
  times.clock = has_one_clock ? RunClock::sensor : RunClock::log;
  times.axis = has_one_clock ? sensor_times_of(times.log, readings, sections) : times.log;
  begin_at_first(times.axis);
  return times;
}

}  // namespace kelvane_hub
