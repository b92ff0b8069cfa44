#include "hub/plot/window.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

void cut(std::vector<Span>& spans, double from, double to) {
  std::erase_if(spans, [from, to](const Span& span) { return span.end < from || span.begin > to; });
  for (Span& span : spans) span = {std::max(span.begin, from), std::min(span.end, to), span.state};
}

void cut(std::vector<double>& times, double from, double to) {
  std::erase_if(times, [from, to](double time) { return time < from || time > to; });
}

/// Empty if it has nothing in there.
Stretch cut(const Stretch& stretch, double from, double to) {
  Stretch rest;
  if (stretch.back().time < from || stretch.front().time > to) return rest;
  for (const Point& point : stretch) {
    if (point.time <= from) rest.clear();  // the last of these holds when the window opens
    if (point.time <= to) rest.push_back({std::max(point.time, from), point.value});
  }
  if (stretch.back().time > to && !rest.empty()) rest.push_back({to, rest.back().value});
  return rest;
}

void cut(Curve& curve, double from, double to) {
  for (Stretch& stretch : curve.stretches) stretch = cut(stretch, from, to);
  std::erase_if(curve.stretches, [](const Stretch& stretch) { return stretch.empty(); });
}

void cut(SubscriptionTrack& track, double from, double to) {
  for (Curve& curve : track.curves) cut(curve, from, to);
  std::erase_if(track.curves, [](const Curve& curve) { return curve.stretches.empty(); });
  for (auto& [strip, spans] : track.strips) cut(spans, from, to);
  std::erase_if(track.strips, [](const auto& strip) { return strip.second.empty(); });
  cut(track.cell_changes, from, to);
  cut(track.technology_changes, from, to);
}

std::string listed(const std::vector<SubscriptionTrack>& tracks) {
  std::vector<std::uint32_t> subs;
  std::ranges::transform(tracks, std::back_inserter(subs), &SubscriptionTrack::sub);
  return subs.empty() ? "no subscription" : alternatives(subs);
}

void keep_subscription(Track& track, std::uint32_t sub) {
  const auto found = std::ranges::find(track.subscriptions, sub, &SubscriptionTrack::sub);
  if (found == track.subscriptions.end()) {
    throw InputError(concat("--sub: expected ", listed(track.subscriptions), ", found ", sub));
  }
  SubscriptionTrack kept = std::move(*found);
  track.subscriptions.clear();
  track.subscriptions.push_back(std::move(kept));
}

}  // namespace

Track part_of(Track track, const Window& window) {
  if (window.sub) keep_subscription(track, *window.sub);
  const double from = window.from.value_or(track.begin);
  if (from >= track.end) {
    throw InputError(concat("--from: expected less than the ", track.end, " seconds that there are, found ", from));
  }
  constexpr double shortest = 1e-9;  // what is drawn is divided by its length
  const double to = std::max(std::min(window.to.value_or(track.end), track.end), from + shortest);
  for (auto& subscription : track.subscriptions) cut(subscription, from, to);
  track.begin = from;
  track.end = to;
  return track;
}

}  // namespace kelvane_hub
