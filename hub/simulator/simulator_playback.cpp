// What time brings: answers to lookups, the scenario's steps, periodic reports.

#include <algorithm>

#include "hub/messages/cell_change.h"
#include "hub/simulator/simulator.h"

namespace kelvane_hub {
namespace {

// What was missed for longer than this (the machine slept) is skipped.
constexpr Time longest_backlog = std::chrono::seconds(1);

// Then others get their turn, however much there is to catch up on.
constexpr int most_at_once = 50;

std::string in_seconds(ScenarioTime time) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "%.3f s", time.count());
  return text;
}

}  // namespace

std::optional<Time> Simulator::next_due() const {
  const auto due = next();
  return due ? std::optional(due->time) : std::nullopt;
}

std::optional<Simulator::Due> Simulator::next() const {
  std::optional<Due> first;
  // On a tie the earlier call wins: a periodic report shows what a step of the same moment has changed.
  const auto consider = [&first](Time time, Occasion occasion) {
    if (!first || time < first->time) first = Due{time, occasion};
  };
  if (!lookups_.empty()) consider(lookups_.front().due, Occasion::lookup);
  if (const auto step = timeline_.next_due()) consider(*step, Occasion::step);
  for (const auto& [session, uses] : sessions_) {
    for (const auto& [key, use] : uses) {
      if (use.reporting == Reporting::periodic) consider(use.next_tick(), Occasion::tick);
    }
  }
  return first;
}

void Simulator::answer_due_lookups(Time now) {
  while (!lookups_.empty() && lookups_.front().due <= now) answer_lookup();
}

void Simulator::advance(Time now) {
  // Before anything that is overdue: who looks up waits for the answer.
  answer_due_lookups(now);
  for (int done = 0; done < most_at_once; ++done) {
    const auto due = next();
    if (!due || due->time > now) return;
    switch (due->occasion) {
      case Occasion::lookup:
        answer_lookup();
        break;
      case Occasion::step:
        // At its own time, not at the time it is noticed: hysteresis is to come out the same on a busy machine.
        play(timeline_.take_next(), due->time);
        break;
      case Occasion::tick:
        tick(now);
        break;
    }
  }
}

void Simulator::answer_lookup() {
  const PendingLookup lookup = lookups_.front();
  lookups_.pop_front();
  sns_suid_event answer;
  answer.set_data_type(lookup.data_type);
  for (const auto& sensor : scenario_.sensors()) {
    if (sensor.data_type() == lookup.data_type) *answer.add_suids() = sensor.suid();
  }
  send(Asked{lookup.asked.session, lookup.asked.sensor, lookup.due}, lookup_event, answer.SerializeAsString());
}

void Simulator::start_scenario(Time now) {
  if (timeline_.started()) return;
  timeline_.start(now);
  while (timeline_.next_due() && *timeline_.next_due() <= now) play(timeline_.take_next(), now);
  // A modem always knows its cells, if only that there are none.
  for (auto& [sub, state] : modem_) {
    if (state.cells) continue;
    Cells none;
    none.set_sub(sub);
    change_cells(none, now);
  }
}

template <class Action>
void Simulator::for_each_use(Time now, const Action& action) {
  for (auto& [session, uses] : sessions_) {
    for (auto& [key, use] : uses) action(Asked{session, use.sensor, now}, use);
  }
}

void Simulator::play(const scenario_step& step, Time now) {
  switch (step.what_case()) {
    case scenario_step::kCells:
      return change_cells(step.cells(), now);
    case scenario_step::kVoiceCalls:
      modem_[step.voice_calls().sub()].voice_calls = step.voice_calls();
      return tell([](const SensorUse& use) { return use.voice_calls; }, voice_calls_event,
                  step.voice_calls().SerializeAsString(), now);
    case scenario_step::kRrcStates:
      modem_[step.rrc_states().sub()].rrc_states = step.rrc_states();
      return tell([](const SensorUse& use) { return use.rrc_states; }, rrc_states_event,
                  step.rrc_states().SerializeAsString(), now);
    case scenario_step::kHighspeedRail:
      return tell_configured(highspeed_rail_event, step.highspeed_rail().SerializeAsString(), now);
    case scenario_step::kError:
      return tell_configured(error_event, step.error().SerializeAsString(), now);
    case scenario_step::kRaw:
      return tell_configured(step.raw().msg_id(), step.raw().payload(), now);
    case scenario_step::WHAT_NOT_SET:
      return;
  }
}

void Simulator::change_cells(const Cells& cells, Time now) {
  Subscription& state = modem_[cells.sub()];
  const bool changed = !state.cells || cells_differ(*state.cells, cells);
  state.cells = cells;
  if (!changed) return;
  for_each_use(now, [&](const Asked& to, SensorUse& use) {
    if (use.reporting == Reporting::on_change) tell_cells_changed(to, use, cells);
  });
}

void Simulator::tell_cells_changed(const Asked& to, SensorUse& use, const Cells& cells) {
  const ScenarioTime time = timeline_.at(to.now);
  std::string why;
  const bool wanted = use.filters[cells.sub()].wants(cells, time, why);
  if (explain_) {
    explain_("session " + std::to_string(to.session) + ", sub " + std::to_string(cells.sub()) + ", " +
             in_seconds(time) + ": " + (wanted ? "reported: " : "not reported: ") + why);
  }
  if (wanted) report(to, use, cells);
}

/// Each session that uses a sensor in this way, once, whichever of its sensors it comes from.
template <class Condition>
void Simulator::tell(const Condition& condition, std::uint32_t msg_id, const std::string& payload, Time now) {
  for (const auto& [session, uses] : sessions_) {
    const auto use = std::ranges::find_if(uses, [&condition](const auto& entry) { return condition(entry.second); });
    if (use != uses.end()) send(Asked{session, use->second.sensor, now}, msg_id, payload);
  }
}

void Simulator::tell_configured(std::uint32_t msg_id, const std::string& payload, Time now) {
  tell([](const SensorUse& use) { return use.reporting != Reporting::none; }, msg_id, payload, now);
}

void Simulator::tick(Time now) {
  for_each_use(now, [&](const Asked& to, SensorUse& use) {
    if (use.reporting != Reporting::periodic || use.next_tick() > now) return;
    if (now - use.next_tick() > longest_backlog) {
      use.first_tick = now;
      use.ticks = 0;
    }
    ++use.ticks;
    report_all(to, use);
  });
}

}  // namespace kelvane_hub
