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

/// Reports whose timestamps grow. Where those of a subscription fall, the sensor's clock has begun anew.
struct Stretch {
  std::vector<std::size_t> events;
  std::vector<ClockReading> readings;  // of each of these
  std::optional<ClockJoin> join;

  /// Goes through what the sensor's clock dates.
  template <class Function>
  void for_each_prompt(Function function) const {
    if (!join) return;
    for (std::size_t i = 0; i < events.size(); ++i) {
      if (join->is_prompt(readings[i])) function(events[i], readings[i].timestamp);
    }
  }
};

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
    stretches.back().events.push_back(i);
    stretches.back().readings.push_back(
        {static_cast<double>(since), seconds_between(epoch, *log_time_of(run.events[i]))});
  }
  for (Stretch& stretch : stretches) stretch.join = join_clocks(stretch.readings);
  return stretches;
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

/// Narrows bounds of the events of `run`, also by its lines of listening.
void narrow(std::vector<Bounds>& events, const Run& run) {
  std::vector<Point> points;
  std::vector<std::size_t> places;
  auto line = run.listening.begin();
  const auto add_lines_before = [&](std::size_t end) {
    for (; line != run.listening.end() && *line < end; ++line) points.push_back({{}, true});
  };
  for (std::size_t i = 0; i < events.size(); ++i) {
    add_lines_before(run.events[i].line);
    places.push_back(points.size());
    points.push_back({events[i]});
  }
  add_lines_before(std::numeric_limits<std::size_t>::max());
  narrow(points);
  for (std::size_t i = 0; i < events.size(); ++i) events[i] = points[places[i]].bounds;
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

std::vector<RunTime> log_times_of(const Run& run, const std::vector<Stretch>& stretches, std::int64_t epoch) {
  std::vector<Bounds> bounds;
  for (const RunEvent& event : run.events) {
    const auto time = log_time_of(event);
    const double since = time ? seconds_between(epoch, *time) : 0;
    bounds.push_back(time ? Bounds{since, since + 1} : Bounds());
  }
  for (const Stretch& stretch : stretches) {
    stretch.for_each_prompt([&](std::size_t event, double timestamp) {
      if (stretch.join->is_fitted) return;
      bounds[event] = {timestamp + stretch.join->least_offset, timestamp + stretch.join->greatest_offset};
    });
  }
  narrow(bounds, run);
  std::vector<double> guesses = middles_of(bounds);
  for (const Stretch& stretch : stretches) {
    stretch.for_each_prompt(
        [&](std::size_t event, double timestamp) { guesses[event] = stretch.join->log_time_of(timestamp); });
  }
  return estimate(bounds, guesses);
}

std::vector<RunTime> sensor_times_of(const std::vector<RunTime>& log, const Stretch& stretch) {
  const ClockJoin& join = *stretch.join;
  std::vector<Point> points;
  std::vector<double> guesses;
  for (const auto& [seconds, earliest, latest] : log) {
    points.push_back({{(earliest - join.greatest_offset) * join.speed, (latest - join.least_offset) * join.speed}});
    guesses.push_back((seconds - (join.least_offset + join.greatest_offset) / 2) * join.speed);
  }
  stretch.for_each_prompt([&](std::size_t event, double timestamp) {
    points[event].bounds = {timestamp, timestamp};
    guesses[event] = timestamp;
  });
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
  times.log = log_times_of(run, stretches, *times.epoch);
  const bool has_one_clock = stretches.size() == 1 && stretches[0].join && stretches[0].events.size() > 1;
  times.clock = has_one_clock ? RunClock::sensor : RunClock::log;
  times.axis = has_one_clock ? sensor_times_of(times.log, stretches[0]) : times.log;
  begin_at_first(times.axis);
  return times;
}

}  // namespace kelvane_hub
