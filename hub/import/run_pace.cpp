#include "hub/import/run_pace.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/report/payload_truth.h"
#include "hub/scenario/seconds.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

// No scenario may be longer.
constexpr double longest = 1e7;

// Log times are whole seconds: what is not later than this may well belong to the beginning.
constexpr double beginning = 2;

/// The events up to which all is told at the beginning; `subscriptions` are those that have their first cells there.
std::size_t end_of_beginning(const Run& run, const std::vector<RunTime>& axis, std::set<std::uint32_t>& subscriptions) {
  std::size_t end = 0;
  std::set<std::uint32_t> seen;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const auto* const cells = payload_of<Cells>(run.events[i]);
    if (cells == nullptr || !seen.insert(cells->sub()).second) continue;
    if (axis[i].earliest > beginning || !has_its_bytes(run.events[i])) continue;
    subscriptions.insert(cells->sub());
    end = i + 1;
  }
  return end;
}

/// Of each event, when a sensor that has been told of everything at that rate has reported it.
std::vector<double> at_rate(const Run& run, double rate) {
  std::vector<double> at;
  std::map<std::uint32_t, std::size_t> reports;  // by subscription
  std::size_t tick = 0;                          // the next one
  for (const RunEvent& event : run.events) {
    const auto* const cells = payload_of<Cells>(event);
    const std::size_t own = cells == nullptr ? tick : reports[cells->sub()]++;
    if (cells != nullptr) tick = std::max(tick, own + 1);
    at.push_back(own == 0 ? 0 : (static_cast<double>(own) - 0.5) / rate);
  }
  return at;
}

/// Whether both span the same time, as far as a sensor keeps to its rate.
bool is_alike(const std::vector<double>& at, const std::vector<RunTime>& axis) {
  constexpr double tolerance = 0.1;
  const double span = axis.back().seconds - axis.front().seconds;
  return std::abs(at.back() - span) <= beginning + tolerance * span;
}

std::vector<double> seconds_of(const Run& run, const Conduct& conduct, const RunTimes& times) {
  const auto& axis = times.axis;
  if (conduct.streams && conduct.rate.value_or(0) > 0) {
    auto at = at_rate(run, *conduct.rate);
    // Those of a capture are not of the sensor's clock, by which a sped-up scenario keeps to its rate.
    if (is_alike(at, axis) || is_alike(at, times_of(run).axis)) return at;
  }
  std::vector<double> at;
  std::ranges::transform(axis, std::back_inserter(at), &RunTime::seconds);
  return at;
}

/// To the microsecond: the rest of a time is what is left of a calculation.
double rounded(double seconds) {
  constexpr double second = 1e6;
  return std::round(seconds * second) / second;
}

void add_set_back(RunPace& pace, std::size_t event) {
  if (pace.set_back.empty() || pace.set_back.back().second + 1 != event) pace.set_back.emplace_back(event, event);
  pace.set_back.back().second = event;
}

}  // namespace

RunPace pace_of(const Run& run, const RunTimes& times, const Conduct& conduct, const std::string& name) {
  RunPace pace;
  if (run.events.empty()) return pace;
  const std::size_t begun = end_of_beginning(run, times.axis, pace.subscriptions);
  pace.at = seconds_of(run, conduct, times);
  double last = 0;
  for (std::size_t i = 0; i < pace.at.size(); ++i) {
    double& at = pace.at[i];
    if (i < begun) at = 0;
    at = rounded(at);
    if (at < last) add_set_back(pace, i);
    at = last = std::max(at, last);
    if (at <= longest) continue;
    throw InputError(concat(place_in(run.place_name, name, run.events[i].line),
                            ": expected a report at most 10000000 seconds after the first, found one after ",
                            shown_seconds(at)));
  }
  return pace;
}

}  // namespace kelvane_hub
