#include "hub/report/run_times.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

#include "hub/report/clock_join.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

constexpr double forever = std::numeric_limits<double>::infinity();

struct Bounds {
  double earliest = -forever;
  double latest = forever;
};

// ---- what an event has of its own ----

std::optional<std::int64_t> log_time_of(const RunEvent& event) {
  if (event.log_time) return event.log_time;
  if (event.log_times_of_cells.empty()) return {};
  return event.log_times_of_cells.front();
}

std::optional<std::int64_t> first_log_time(const Run& run) {
  for (const RunEvent& event : run.events) {
    if (const auto time = log_time_of(event)) return time;
  }
  return {};
}

/// The difference without overflow; as exact as a double is.
double seconds_between(std::int64_t from, std::int64_t to) {
  return static_cast<double>(static_cast<long double>(to) - static_cast<long double>(from));
}

/// In nanoseconds.
std::uint64_t newest_timestamp(const mox_wwan_event_serving_neighboring_cell_info& info) {
  std::uint64_t newest = 0;
  for (const auto& cell : info.cells()) newest = std::max<std::uint64_t>(newest, cell.timestamp());
  return newest;
}

// ---- the sensor's clock ----

/// A report with a new timestamp.
struct Reading {
  std::size_t event;
  ClockReading clocks;
  std::optional<ClockJoin> join;  // of the clocks at that time

  bool is_late() const { return join && join->is_late(clocks); }
  /// When it was by the log's clock. It has a join.
  Bounds log_bounds() const {
    return {clocks.timestamp + join->least_offset, clocks.timestamp + join->greatest_offset};
  }
};

/// Those whose timestamps grow. Where the timestamps of a subscription fall, the sensor's clock has begun anew.
using Stretch = std::vector<Reading>;

void join(Stretch& stretch) {
  std::vector<ClockReading> clocks;
  std::ranges::transform(stretch, std::back_inserter(clocks), &Reading::clocks);
  auto reading = stretch.begin();
  for (const auto& [count, join] : join_pieces(clocks)) {
    for (std::size_t i = 0; i < count; ++i) (reading++)->join = join;
  }
}

/// Tells reports whose timestamp is new from those of the same cells once more.
class Timestamps {
 public:
  enum class Verdict : std::uint8_t { grown, stale, fallen };

  Verdict judge(std::uint32_t sub, std::uint64_t timestamp) {
    const auto [last, is_first] = last_.try_emplace(sub, timestamp);
    const auto before = std::exchange(last->second, timestamp);
    const bool has_fallen = newest_ && timestamp < before;
    if (!has_fallen && ((!is_first && timestamp == before) || timestamp < newest_.value_or(0))) return Verdict::stale;
    const bool is_anew = has_fallen || !newest_;
    newest_ = timestamp;
    return is_anew ? Verdict::fallen : Verdict::grown;
  }

 private:
  std::map<std::uint32_t, std::uint64_t> last_;  // of each subscription: a streaming sensor tells of them in turn
  std::optional<std::uint64_t> newest_;
};

/// Timestamps are counted from the first of the run.
std::vector<Stretch> stretches_of(const Run& run, std::int64_t epoch) {
  std::vector<Stretch> stretches;
  Timestamps timestamps;
  std::optional<std::uint64_t> first;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const auto* const info = payload_of<mox_wwan_event_serving_neighboring_cell_info>(run.events[i]);
    if (info == nullptr || info->cells().empty()) continue;
    const auto timestamp = newest_timestamp(*info);
    const auto verdict = timestamps.judge(info->sub(), timestamp);
    if (verdict == Timestamps::Verdict::stale) continue;
    if (verdict == Timestamps::Verdict::fallen) stretches.emplace_back();
    if (!first) first = timestamp;
    constexpr long double nanoseconds = 1e9L;
    const auto since = (static_cast<long double>(timestamp) - static_cast<long double>(*first)) / nanoseconds;
    const double logged = seconds_between(epoch, *log_time_of(run.events[i]));
    stretches.back().push_back({i, {static_cast<double>(since), logged}, {}});
  }
  for (Stretch& stretch : stretches) join(stretch);
  return stretches;
}

/// Of each event, what it tells if it has a new timestamp.
std::vector<const Reading*> readings_of(const std::vector<Stretch>& stretches, std::size_t event_count) {
  std::vector<const Reading*> readings(event_count);
  for (const Stretch& stretch : stretches) {
    for (const Reading& reading : stretch) readings[reading.event] = &reading;
  }
  return readings;
}

// ---- the log's clock ----

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

// ---- order ----

/// Something that happened, in the order in which a run tells of it.
struct Point {
  Bounds bounds;
  bool is_listening = false;  // a line of the main thread
};

/// How long it is from one line of listening to the next, in seconds.
struct Pace {
  double least;
  double greatest;
};

/// Carries bounds from one point to the next.
class Carrier {
 public:
  explicit Carrier(const Pace& pace) : pace_(pace) {}

  /// Narrows what is later than all that came before. Returns whether that is possible; if not, it begins anew.
  bool narrow(Point& point) {
    Bounds narrowed{std::max(point.bounds.earliest, now_), point.bounds.latest};
    if (point.is_listening) {
      narrowed.earliest = std::max(narrowed.earliest, listened_.earliest + pace_.least);
      narrowed.latest = std::min(narrowed.latest, listened_.latest + pace_.greatest);
    }
    const bool is_possible = narrowed.earliest <= narrowed.latest;
    if (is_possible) point.bounds = narrowed;
    now_ = point.bounds.earliest;
    if (point.is_listening) listened_ = point.bounds;
    return is_possible;
  }

 private:
  Pace pace_;
  double now_ = -forever;
  Bounds listened_;
};

/// The same seen from the end.
void turn(std::vector<Point>& points) {
  std::ranges::reverse(points);
  for (Point& point : points) point.bounds = {-point.bounds.latest, -point.bounds.earliest};
}

bool narrow_at(const Pace& pace, std::vector<Point>& points) {
  bool is_possible = true;
  // What one way narrows lets the other narrow more: there and back, and again.
  for (int way = 0; way < 4; ++way) {
    Carrier carrier(pace);
    for (Point& point : points) is_possible = carrier.narrow(point) && is_possible;
    turn(points);
  }
  return is_possible;
}

/// Narrows each by what stands before and after it.
void narrow(std::vector<Point>& points) {
  // The thread sleeps for three seconds and prints; it does not on a phone that is suspended, nor where clocks jump.
  constexpr Pace paces[] = {{3, 3.1}, {3, forever}, {0, forever}};
  for (const Pace& pace : paces) {
    std::vector<Point> narrowed = points;
    if (!narrow_at(pace, narrowed) && &pace != std::end(paces) - 1) continue;
    points = std::move(narrowed);
    return;
  }
}

/// Narrows bounds of the events of `run` that are in `section`, also by its lines of listening.
void narrow(std::vector<Bounds>& events, const Run& run, const Section& section) {
  const std::size_t begin = section.first == 0 ? 0 : run.events[section.first].line;
  const bool is_to_end = section.last + 1 == run.events.size();
  std::vector<Point> points;
  std::vector<std::size_t> places;
  auto line = std::ranges::lower_bound(run.listening, begin);
  const auto add_lines_before = [&](std::size_t end) {
    for (; line != run.listening.end() && *line < end; ++line) points.push_back({{}, true});
  };
  for (std::size_t i = section.first; i <= section.last; ++i) {
    add_lines_before(run.events[i].line);
    places.push_back(points.size());
    points.push_back({events[i]});
  }
  if (is_to_end) add_lines_before(std::numeric_limits<std::size_t>::max());
  narrow(points);
  for (std::size_t i = 0; i < places.size(); ++i) events[section.first + i] = points[places[i]].bounds;
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
    narrow(bounds, run, section);
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
  std::vector<Point> points;
  std::vector<double> guesses;
  for (std::size_t i = 0; i < log.size(); ++i) {
    const RunTime time = sensor_time_of(log[i], readings[i] == nullptr ? joins[i] : nullptr, neighbours[i]);
    points.push_back({{time.earliest, time.latest}});
    guesses.push_back(time.seconds);
  }
  narrow(points);
  std::vector<Bounds> bounds;
  std::ranges::transform(points, std::back_inserter(bounds), &Point::bounds);
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
  const bool has_one_clock = stretches.size() == 1 && stretches[0].size() > 1;
  times.clock = has_one_clock ? RunClock::sensor : RunClock::log;
  times.axis = has_one_clock ? sensor_times_of(times.log, readings, sections) : times.log;
  begin_at_first(times.axis);
  return times;
}

}  // namespace kelvane_hub
