#include "hub/plot/track.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"
#include "hub/report/run_times.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;
using VoiceCalls = mox_wwan_event_voice_calls;
using RrcStates = mox_wwan_event_rrc_states_info;
using Rail = mox_wwan_event_highspeed_rail_network_info;
using State = std::optional<std::int32_t>;

/// The cell that a subscription is served by.
struct Serving {
  const mox_wwan_cell_info* cell;
  std::int32_t cell_type;
  std::string identity;  // what tells it from others of its technology; empty if that is not known
};

std::optional<Serving> serving_of(const Cells& info) {
  const auto cell = std::ranges::find_if(info.cells(), &mox_wwan_cell_info::registered);
  if (cell == info.cells().end()) return {};
  const Technology* const technology = find_technology(cell->cell_type());
  if (technology == nullptr) return {};
  const auto* const identity = find_part(*cell, *technology, identity_part);
  return Serving{&*cell, technology->cell_type, identity == nullptr ? "" : identity->SerializeAsString()};
}

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
    const auto serving = serving_of(info);
    note_change(time.seconds, serving);
    set(Strip::technology, time.seconds, serving ? State(serving->cell_type) : State());
    note_outage(time, std::ranges::none_of(info.cells(), &mox_wwan_cell_info::registered));
    for (std::size_t i = 0; i < track_.curves.size(); ++i) note_value(i, time.seconds, serving, zero_is_known);
    if (!serving || serving->cell_type != last_type_ || !serving->identity.empty()) {
      last_identity_ = serving ? serving->identity : "";
    }
    last_type_ = serving ? State(serving->cell_type) : State();
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
  void note_change(double time, const std::optional<Serving>& serving) {
    if (!serving || !last_type_) return;
    if (serving->cell_type != *last_type_) {
      track_.technology_changes.push_back(time);
    } else if (serving->identity != last_identity_ && !serving->identity.empty() && !last_identity_.empty()) {
      track_.cell_changes.push_back(time);
    }
  }

  void note_outage(const RunTime& time, bool is_out) {
    const bool was_out = states_.contains(Strip::outage);
    if (is_out == was_out) return;
    if (is_out && time.earliest < time.latest) {
      track_.strips[Strip::perhaps_outage].push_back({time.earliest, time.latest});
    }
    set(Strip::outage, is_out ? time.latest : time.seconds, is_out ? State(1) : State());
  }

  void note_value(std::size_t i, double time, const std::optional<Serving>& serving, bool zero_is_known) {
    const Quantity& quantity = *track_.curves[i].quantity;
    std::optional<double> value;
    if (serving && serving->cell_type == quantity.cell_type) value = quantity.read(*serving->cell, zero_is_known);
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
  State last_type_;               // of the serving cell
  std::string last_identity_;     // as far as it is known
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

/// What is counted by which clock.
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

/// The same, but not before `now`, nor after `next` where that is later.
RunTime bounded(const RunTime& time, double now, double next) {
  const double seconds = std::max(time.seconds, now);
  return {seconds, std::clamp(time.earliest, now, seconds), std::clamp(time.latest, seconds, std::max(next, seconds))};
}

/// Whether the event's message is what the sensor said. Without that, a 0 may be how its absence was printed.
bool is_as_sent(const RunEvent& event) { return event.payload == event.message->SerializeAsString(); }

void note(TrackBuilder& builder, const RunTime& time, const RunEvent& event) {
  if (const auto* const info = payload_of<Cells>(event)) builder.cells(time, *info, is_as_sent(event));
  if (const auto* const info = payload_of<VoiceCalls>(event)) builder.calls(time, *info);
  if (const auto* const info = payload_of<RrcStates>(event)) builder.rrc_states(time, *info);
  if (const auto* const info = payload_of<Rail>(event)) builder.rail(time, *info);
}

void note(TrackBuilder& builder, const scenario_step& step) {
  const RunTime time{step.at(), step.at(), step.at()};
  if (step.has_cells()) builder.cells(time, step.cells(), true);
  if (step.has_voice_calls()) builder.calls(time, step.voice_calls());
  if (step.has_rrc_states()) builder.rrc_states(time, step.rrc_states());
  if (step.has_highspeed_rail()) builder.rail(time, step.highspeed_rail());
}

/// A modem always knows its cells, if only that there are none.
void note_start(TrackBuilder& builder, std::uint32_t sub) {
  Cells none;
  none.set_sub(sub);
  builder.cells({}, none, true);
}

}  // namespace

Track track_of(const Run& run) {
  const RunTimes times = times_of(run);
  double last = 0;
  for (const RunTime& time : times.axis) last = std::max(last, time.seconds);
  const double end = end_of_last_state(last);
  TrackBuilder builder;
  double now = 0;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const RunTime time = bounded(times.axis[i], now, i + 1 < times.axis.size() ? times.axis[i + 1].seconds : end);
    note(builder, time, run.events[i]);
    now = time.seconds;
  }
  return builder.finish(std::string(name_of(times.clock)), end);
}

Track track_of(const PackedScenario& played) {
  TrackBuilder builder;
  std::set<std::uint32_t> begun;  // those that have been given cells
  for (std::size_t i = 0; i < played.steps_size(); ++i) {
    const scenario_step step = played.step(i);
    const std::uint32_t sub = step.cells().sub();
    if (step.has_cells() && begun.insert(sub).second && step.at() > 0) note_start(builder, sub);
    note(builder, step);
  }
  const scenario& head = played.head();
  const double once = head.has_duration() ? head.duration() : end_of_last_state(played.last_time());
  const double end = head.has_repeat_after() ? head.repeat_after() : once;
  return builder.finish("scenario time", end);
}

}  // namespace kelvane_hub
