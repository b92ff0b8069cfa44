#include "hub/simulator/playback.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "hub/messages/catalogue.h"
#include "hub/messages/cell_change.h"
#include "hub/scenario/step.h"
#include "hub/simulator/registrations.h"

namespace kelvane_hub {
namespace {

// What was missed for longer than this (the machine slept) is skipped.
constexpr Time longest_backlog = std::chrono::seconds(1);

// Then others get their turn, however much there is to catch up on.
constexpr int most_at_once = 50;

Modem make_modem(const std::set<std::uint32_t>& subscriptions) {
  Modem modem;
  for (const auto sub : subscriptions) modem[sub];
  return modem;
}

bool is_configured(const SensorUse& use) { return use.configuration != Configuration::none; }

}  // namespace

Playback::Playback(const PackedScenario& played, double speed, Outbox& outbox)
    : outbox_(outbox), timeline_(played, speed), modem_(make_modem(played.subscriptions())) {}

void Playback::configure(const Link& link, Configuration configuration, std::int32_t rate, Time now) {
  SensorUse& use = use_of(link);
  drop_tick(link.session, key_of(link.sensor), use);
  use.configuration = configuration;
  if (configuration != Configuration::periodic) return;
  use.rate = rate;
  use.first_tick = now;
  use.ticks = 0;
  ticks_.emplace(use.next_tick(), link.session, key_of(link.sensor));
}

void Playback::drop_tick(SessionId session, const SensorKey& sensor, const SensorUse& use) {
  if (use.configuration == Configuration::periodic) ticks_.erase({use.next_tick(), session, sensor});
}

void Playback::end_session(SessionId session) {
  const auto ended = sessions_.find(session);
  if (ended == sessions_.end()) return;
  for (const auto& [sensor, use] : ended->second) drop_tick(session, sensor, use);
  sessions_.erase(ended);
}

void Playback::start(Time now) {
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
  if (timeline_.ended()) outbox_.watchers().on_end();
}

void Playback::send_all_cells(const Link& to, Time now) {
  SensorUse& use = use_of(to);
  for (const auto& [sub, state] : modem_) {
    if (state.cells) outbox_.send_cells(to, use, *state.cells, now, timeline_.at(now));
  }
}

std::optional<Time> Playback::next_tick() const {
  return ticks_.empty() ? std::nullopt : std::optional(std::get<Time>(*ticks_.begin()));
}

std::optional<Time> Playback::next_due() const { return earlier(timeline_.next_due(), next_tick()); }

void Playback::advance(Time now) {
  for (int done = 0; done < most_at_once; ++done) {
    const auto due = next_due();
    if (!due || *due > now) return;
    if (timeline_.next_due() == due) {
      // At its own time, not at the time it is noticed: hysteresis is to come out the same on a busy machine. And
      // before a periodic report of the same moment, which shows what the step has changed.
      play(timeline_.take_next(), *due);
      if (timeline_.ended()) outbox_.watchers().on_end();
    } else {
      tick(now);
    }
  }
}

void Playback::play(const scenario_step& step, Time now) {
  outbox_.watchers().on_step(step, now);
  if (step.has_cells()) return change_cells(step.cells(), now);
  if (step.has_raw()) return tell(is_configured, step.raw().msg_id(), step.raw().payload(), now);
  if (const auto* const event = event_in(step)) play_event(*event, subscription_of(step), now);
}

void Playback::play_event(const google::protobuf::Message& event, std::optional<std::uint32_t> sub, Time now) {
  const MessageKind* const kind = find_event_kind(*event.GetDescriptor());
  if (kind == nullptr) throw std::logic_error(event.GetTypeName() + " is not in the catalogue");
  const std::uint32_t msg_id = kind->id;
  const std::string payload = event.SerializeAsString();
  if (!is_registered_for(msg_id)) return tell(is_configured, msg_id, payload, now);
  modem_[sub.value_or(0)].states[msg_id] = payload;
  tell([msg_id](const SensorUse& use) { return use.registered.contains(msg_id); }, msg_id, payload, now);
}

void Playback::change_cells(const Cells& cells, Time now) {
  Subscription& state = modem_[cells.sub()];
  const bool changed = !state.cells || cells_differ(*state.cells, cells);
  state.cells = cells;
  if (!changed) return;
  for (auto& [session, uses] : sessions_) {
    for (auto& [sensor, use] : uses) {
      if (use.configuration != Configuration::on_change) continue;
      tell_cells_changed({session, suid_of(sensor)}, use, cells, now);
    }
  }
}

void Playback::tell_cells_changed(const Link& to, SensorUse& use, const Cells& cells, Time now) {
  const ScenarioTime time = timeline_.at(now);
  const CellDecision decision = use.filters[cells.sub()].decide(cells, time);
  outbox_.watchers().on_decision(to, cells.sub(), decision, time);
  if (decision.told) outbox_.send_cells(to, use, cells, now, time);
}

/// Each session that has a sensor which the event concerns, once, whichever of its sensors it comes from.
void Playback::tell(const Concerns& concerns, std::uint32_t msg_id, const std::string& payload, Time now) {
  for (const auto& [session, uses] : sessions_) {
    const auto use = std::ranges::find_if(uses, [&concerns](const auto& entry) { return concerns(entry.second); });
    if (use != uses.end()) outbox_.send({session, suid_of(use->first)}, msg_id, payload, now);
  }
}

/// One report of each periodic use that is due, by session.
void Playback::tick(Time now) {
  std::vector<std::pair<SessionId, SensorKey>> due;
  while (!ticks_.empty() && std::get<Time>(*ticks_.begin()) <= now) {
    const auto& [time, session, sensor] = *ticks_.begin();
    due.emplace_back(session, sensor);
    ticks_.erase(ticks_.begin());
  }
  std::ranges::sort(due);
  for (const auto& [session, sensor] : due) {
    SensorUse& use = sessions_.at(session).at(sensor);
    if (now - use.next_tick() > longest_backlog) {
      use.first_tick = now;
      use.ticks = 0;
    }
    ++use.ticks;
    ticks_.emplace(use.next_tick(), session, sensor);
    send_all_cells({session, suid_of(sensor)}, now);
  }
}

}  // namespace kelvane_hub
