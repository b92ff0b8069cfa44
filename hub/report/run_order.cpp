#include "hub/report/run_order.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace kelvane_hub {
namespace {

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

}  // namespace

void narrow_by_order(std::vector<Bounds>& events, const Run& run, std::size_t first, std::size_t last) {
  const std::size_t begin = first == 0 ? 0 : run.events[first].line;
  const bool is_to_end = last + 1 == run.events.size();
  std::vector<Point> points;
  std::vector<std::size_t> places;
  auto line = std::ranges::lower_bound(run.listening, begin);
  const auto add_lines_before = [&](std::size_t end) {
    for (; line != run.listening.end() && *line < end; ++line) points.push_back({{}, true});
  };
  for (std::size_t i = first; i <= last; ++i) {
    add_lines_before(run.events[i].line);
    places.push_back(points.size());
    points.push_back({events[i]});
  }
  if (is_to_end) add_lines_before(std::numeric_limits<std::size_t>::max());
  narrow(points);
  for (std::size_t i = 0; i < places.size(); ++i) events[first + i] = points[places[i]].bounds;
}

void narrow_by_order(std::vector<Bounds>& times) {
  std::vector<Point> points;
  std::ranges::transform(times, std::back_inserter(points), [](const Bounds& bounds) { return Point{bounds}; });
  narrow(points);
  std::ranges::transform(points, times.begin(), &Point::bounds);
}

}  // namespace kelvane_hub
