#include "hub/plot/track.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "hub/messages/serving_cell.h"
#include "hub/report/run_observations.h"
#include "hub/scenario/scenario_observations.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;
using VoiceCalls = mox_wwan_event_voice_calls;
using RrcStates = mox_wwan_event_rrc_states_info;
using Rail = mox_wwan_event_highspeed_rail_network_info;
using State = std::optional<std::int32_t>;

/// Builds the track of a subscription from what happens, in order of time.
class SubscriptionBuilder {
 public:
  explicit SubscriptionBuilder(std::uint32_t sub) {
    track_.sub = sub;
    for (const Quantity& quantity : quantities()) track_.curves.push_back({&quantity, {}});
    is_open_.resize(track_.curves.size());
  }

  void cells(const RunTime& time, const Cells& info, bool zero_is_known) {
    track_.has_cell_reports = true;
    const auto serving = serving_cell_of(info);
    note_change(time.seconds, serving);
    set(Strip::technology, time.seconds, serving ? State(serving->technology->cell_type) : State());
    note_outage(time, is_without_service(info));
    for (std::size_t i = 0; i < track_.curves.size(); ++i) note_value(i, time.seconds, serving, zero_is_known);
  }

  /// From `time` on, nothing being no state.
  void set(Strip strip, double time, State state) {
    const auto begun = states_.find(strip);
    if (begun != states_.end() && begun->second.state == state) return;
    if (begun != states_.end()) {
      const Span span{begun->second.begin, time, begun->second.state};
      // An outage that surely began only when it ended is one perhaps.
      if (strip != Strip::outage || span.begin < span.end) track_.strips[strip].push_back(span);
      states_.erase(begun);
    }
    if (state) states_[strip] = {time, time, *state};
  }

  SubscriptionTrack finish(double end) {
    for (std::size_t i = 0; i < track_.curves.size(); ++i) close(i, end);
    while (!states_.empty()) set(states_.begin()->first, end, {});
    std::erase_if(track_.curves, [](const Curve& curve) { return curve.stretches.empty(); });
    return std::move(track_);
  }

 private:
  void note_change(double time, const std::optional<ServingCell>& serving) {
    const CellChange change = watch_.take(serving);
    if (change == CellChange::technology) track_.technology_changes.push_back(time);
    if (change == CellChange::cell) track_.cell_changes.push_back(time);
  }

  void note_outage(const RunTime& time, bool is_out) {
    const bool was_out = states_.contains(Strip::outage);
    if (is_out == was_out) return;
    if (is_out && time.earliest < time.latest) {
      track_.strips[Strip::perhaps_outage].push_back({time.earliest, time.latest});
    }
    set(Strip::outage, is_out ? time.latest : time.seconds, is_out ? State(1) : State());
  }

  void note_value(std::size_t i, double time, const std::optional<ServingCell>& serving, bool zero_is_known) {
    const Quantity& quantity = *track_.curves[i].quantity;
    std::optional<double> value;
    if (serving && serving->technology->cell_type == quantity.cell_type)
      value = quantity.read(*serving->cell, zero_is_known);
    if (!value) return close(i, time);
    auto& stretches = track_.curves[i].stretches;
    if (!is_open_[i]) stretches.emplace_back();
    stretches.back().push_back({time, *value});
    is_open_[i] = true;
  }

  /// The last value holds until then.
  void close(std::size_t i, double time) {
    if (!is_open_[i]) return;
    Stretch& stretch = track_.curves[i].stretches.back();
    stretch.push_back({time, stretch.back().value});
    is_open_[i] = false;
  }

  SubscriptionTrack track_;
  std::vector<bool> is_open_;     // whether the last stretch of a curve goes on
  std::map<Strip, Span> states_;  // that have begun
  ServingCellWatch watch_;
};

class TrackBuilder {
 public:
  /// `zero_is_known`: see Quantity::read().
  void cells(const RunTime& time, const Cells& info, bool zero_is_known) {
    of(info.sub()).cells(time, info, zero_is_known);
  }

  void calls(const RunTime& time, const VoiceCalls& info) {
    of(info.sub()).set(Strip::calls, time.seconds, info.calls().empty() ? State() : State(1));
  }

  void rrc_states(const RunTime& time, const RrcStates& info) {
    const std::pair<Strip, State> states[] = {
        {Strip::rrc_lte, info.has_lte_rrc_state() ? State(info.lte_rrc_state()) : State()},
        {Strip::rrc_nr, info.has_nr5g_rrc_state() ? State(info.nr5g_rrc_state()) : State()},
        {Strip::rrc_wcdma, info.has_wcdma_rrc_state() ? State(info.wcdma_rrc_state()) : State()}};
    for (const auto& [strip, state] : states) of(info.sub()).set(strip, time.seconds, state);
  }

  void rail(const RunTime& time, const Rail& info) {
    of(info.sub()).set(Strip::rail_lte, time.seconds, info.lte() ? State(1) : State());
    of(info.sub()).set(Strip::rail_nr, time.seconds, info.nr5g() ? State(1) : State());
  }

  Track finish(std::string clock, double end) {
    Track track{std::move(clock), 0, end, {}};
    for (auto& [sub, builder] : builders_) track.subscriptions.push_back(builder.finish(end));
    return track;
  }

 private:
  SubscriptionBuilder& of(std::uint32_t sub) { return builders_.try_emplace(sub, sub).first->second; }

  std::map<std::uint32_t, SubscriptionBuilder> builders_;
};

/// Where the states are drawn to that stay when nothing follows: a little further, or else the last would not be seen.
double end_of_last_state(double last_time) { return last_time > 0 ? last_time * 1.03 : 1; }

/// Builds what `observe` tells of.
template <class Observe>
Track track_of(std::string_view clock, double end, const Observe& observe) {
  TrackBuilder builder;
  observe([&builder](const Observation& seen) {
    if (const auto* const info = payload_of<Cells>(seen)) builder.cells(seen.time, *info, seen.is_as_sent);
    if (const auto* const info = payload_of<VoiceCalls>(seen)) builder.calls(seen.time, *info);
    if (const auto* const info = payload_of<RrcStates>(seen)) builder.rrc_states(seen.time, *info);
    if (const auto* const info = payload_of<Rail>(seen)) builder.rail(seen.time, *info);
  });
  return builder.finish(std::string(clock), end);
}

}  // namespace

Track track_of(const Run& run) {
  const RunTimes times = times_of(run);
  const double end = end_of_last_state(last_time(times));
  return track_of(name_of(times.clock), end, [&](const Observer& observer) { observe(run, times, end, observer); });
}

Track track_of(const PackedScenario& played) {
  const bool goes_on = !played.head().has_repeat_after() && !played.head().has_duration();
  const double end = goes_on ? end_of_last_state(end_of(played)) : end_of(played);
  return track_of("scenario time", end, [&](const Observer& observer) { observe(played, observer); });
}

}  // namespace kelvane_hub
