#include "hub/simulator/playback.h"

#include <algorithm>
#include <stdexcept>

#include "hub/messages/catalogue.h"
#include "hub/messages/cell_change.h"
#include "hub/scenario/step.h"
#include "hub/simulator/registrations.h"

namespace kelvane_hub {
namespace {

// Periodic reports that were missed for longer than this are left out: nobody wants them in one heap.
constexpr Time longest_backlog = std::chrono::seconds(2);

// Whoever cannot follow says so anew only after it could for so long.
constexpr Time recovery = std::chrono::seconds(10);

/// How much is done before others get their turn.
class Turn {
 public:
  explicit Turn(const Outbox& outbox) : outbox_(outbox), enough_(outbox.sent() + most_events) {}
  bool goes_on() { return steps_++ < most_steps && outbox_.sent() < enough_; }

 private:
  // A millisecond's work or two.
  static constexpr int most_steps = 50;
  static constexpr std::size_t most_events = 1000;

  const Outbox& outbox_;
  const std::size_t enough_;
  int steps_ = 0;
};

Modem make_modem(const std::set<std::uint32_t>& subscriptions) {
  Modem modem;
  for (const auto sub : subscriptions) modem[sub];
  return modem;
}

}  // namespace

Playback::Playback(const PackedScenario& played, StepSource& source, Outbox& outbox)
    : outbox_(outbox),
      source_(source),
      fills_timestamps_(played.head().fill_timestamps()),
      modem_(make_modem(played.subscriptions())) {}

void Playback::set_thresholds(const Link& link, mox_wwan_signal_strength_config config) {
  const auto sub = static_cast<std::uint32_t>(config.sub_id());
  use_of(link).filters[sub].configure(std::move(config));
}

void Playback::register_for(const Link& link, std::uint32_t msg_id) {
  registered_[msg_id].try_emplace(key_of(link), &use_of(link));
}

void Playback::configure(const Link& link, Configuration configuration, std::int32_t rate, Time now) {
  const UseKey key = key_of(link);
  SensorUse& use = uses_[key];
  drop_tick(key, use);
  use.configuration = configuration;
  configured_.try_emplace(key, &use);
  on_change_.erase(key);
  if (configuration == Configuration::on_change) on_change_.try_emplace(key, &use);
  if (configuration != Configuration::periodic) return;
  use.rate = rate;
  use.first_tick = now;
  use.ticks = 0;
  ticks_.emplace(use.next_tick(), key);
}

void Playback::drop_tick(const UseKey& key, const SensorUse& use) {
  if (use.configuration == Configuration::periodic) ticks_.erase({use.next_tick(), key});
}

void Playback::end_session(SessionId session) {
  for (auto use = uses_.lower_bound({session, 0, 0}); use != uses_.end() && std::get<0>(use->first) == session;) {
    drop_tick(use->first, use->second);
    configured_.erase(use->first);
    on_change_.erase(use->first);
    for (auto& [msg_id, audience] : registered_) audience.erase(use->first);
    use = uses_.erase(use);
  }
}

void Playback::start(Time now) {
  if (source_.started()) return;
  source_.start(now);
  starting_ = now;
  note_progress(now);
  for (Turn turn(outbox_); starting_ && turn.goes_on();) play_next(now, now);
}

bool Playback::is_registered(const UseKey& key, std::uint32_t msg_id) const {
  const auto audience = registered_.find(msg_id);
  return audience != registered_.end() && audience->second.contains(key);
}

void Playback::note_jump(ScenarioTime by) {
  for (auto& [key, use] : uses_) {
    for (auto& [sub, filter] : use.filters) filter.note_jump(by);
  }
  outbox_.watchers().on_jump(by);
}

void Playback::restart(Time now) {
  source_.rewind();
  starting_.reset();
  behind_.reset();
  end_told_ = false;
  for (auto& [sub, state] : modem_) state = {};
  for (auto& [key, use] : uses_) {
    for (auto& [sub, filter] : use.filters) filter.forget_told();
  }
  outbox_.watchers().on_rewind();
  if (!configured_.empty()) start(now);
}

/// After each step, and before the first; the source may come to its end later.
void Playback::note_progress(Time now) {
  if (starting_ && source_.next_due() != starting_) complete_start(now);
  if (source_.ended() && !std::exchange(end_told_, true)) outbox_.watchers().on_end(source_.last_taken());
}

/// A modem always knows its cells, if only that there are none.
void Playback::complete_start(Time now) {
  starting_.reset();
  for (auto& [sub, state] : modem_) {
    if (state.cells) continue;
    Cells none;
    none.set_sub(sub);
    change_cells(none, none, now);
  }
}

void Playback::send_all_cells(const Link& to, Time now) {
  SensorUse& use = use_of(to);
  for (const auto& [sub, state] : modem_) {
    if (state.cells) CellsBroadcast(outbox_, state.cells, now, source_.at(now)).send(to, use);
  }
}

std::optional<Time> Playback::next_tick() const {
  return ticks_.empty() ? std::nullopt : std::optional(ticks_.begin()->first);
}

std::optional<Time> Playback::next_due() const { return earlier(source_.next_due(), next_tick()); }

void Playback::advance(Time now) {
  note_progress(now);
  for (Turn turn(outbox_); turn.goes_on();) {
    const auto due = next_due();
    if (!due || *due > now) return;
    note_behind(*due, now);
    if (source_.next_due() == due) {
      // At its own time, not at the time it is noticed: hysteresis is to come out the same on a busy machine. And
      // before a periodic report of the same moment, which shows what the step has changed.
      play_next(*due, now);
    } else {
      tick(now);
    }
  }
}

void Playback::note_behind(Time due, Time now) {
  if (now - due < longest_backlog) return;
  if (!behind_ || now - *behind_ > recovery) outbox_.watchers().on_behind(now - due);
  behind_ = now;
}

void Playback::play_next(Time due, Time now) {
  const scenario_step step = source_.take_next(now);
  if (step.what_case() != scenario_step::WHAT_NOT_SET) play(step, due, source_.last_taken());
  note_progress(due);
}

void Playback::play(const scenario_step& step, Time now, ScenarioTime time) {
  if (step.has_cells()) {
    scenario_step told = step;
    if (fills_timestamps_) fill_timestamps(*told.mutable_cells(), time);
    outbox_.watchers().on_step(told, now);
    return change_cells(step.cells(), told.cells(), now);
  }
  outbox_.watchers().on_step(step, now);
  if (step.has_raw()) return tell(configured_, step.raw().msg_id(), step.raw().payload(), now);
  if (const auto* const event = event_in(step)) play_event(*event, subscription_of(step), now);
}

void Playback::play_event(const google::protobuf::Message& event, std::optional<std::uint32_t> sub, Time now) {
  const MessageKind* const kind = find_event_kind(*event.GetDescriptor());
  if (kind == nullptr) throw std::logic_error(event.GetTypeName() + " is not in the catalogue");
  const std::uint32_t msg_id = kind->id;
  const std::string payload = event.SerializeAsString();
  if (!is_registered_for(msg_id)) return tell(configured_, msg_id, payload, now);
  modem_[sub.value_or(0)].states[msg_id] = payload;
  tell(registered_[msg_id], msg_id, payload, now);
}

/// `told` is `cells` with timestamps: the modem keeps them without, so that what is left of them later gets new ones.
void Playback::change_cells(const Cells& cells, const Cells& told, Time now) {
  Subscription& state = modem_[cells.sub()];
  const bool changed = !state.cells || cells_differ(state.cells->cells, cells);
  state.cells = std::make_shared<const CellsAtOnce>(cells, told);
  if (!changed) return;
  const ScenarioTime time = source_.at(now);
  CellsBroadcast report(outbox_, state.cells, now, time);
  for (const auto& [key, use] : on_change_) {
    const CellDecision decision = use->filters[cells.sub()].decide(cells, time);
    outbox_.watchers().on_decision(link_of(key), cells.sub(), decision, time);
    if (decision.told) report.send(link_of(key), *use);
  }
}

/// Each session once, whichever of its sensors it comes from.
void Playback::tell(const Audience& audience, std::uint32_t msg_id, const std::string& payload, Time now) {
  Broadcast event(outbox_, msg_id, payload, now);
  std::optional<SessionId> told;
  for (const auto& [key, use] : audience) {
    const Link link = link_of(key);
    if (told != link.session) event.send(link);
    told = link.session;
  }
}

/// One report of each periodic use that is due, by session.
void Playback::tick(Time now) {
  const std::vector<UseKey> due = take_ticks(now);
  for (const UseKey& key : due) {
    SensorUse& use = uses_.at(key);
    if (now - use.next_tick() > longest_backlog) {
      use.first_tick = now;
      use.ticks = 0;
    }
    ++use.ticks;
    ticks_.emplace(use.next_tick(), key);
  }
  std::vector<CellsBroadcast> reports;
  for (const auto& [sub, state] : modem_) {
    if (state.cells) reports.emplace_back(outbox_, state.cells, now, source_.at(now));
  }
  for (const UseKey& key : due) {
    for (CellsBroadcast& report : reports) report.send(link_of(key), uses_.at(key));
  }
}

std::vector<UseKey> Playback::take_ticks(Time now) {
  std::vector<UseKey> due;
  while (!ticks_.empty() && ticks_.begin()->first <= now) {
    due.push_back(ticks_.begin()->second);
    ticks_.erase(ticks_.begin());
  }
  std::ranges::sort(due);
  return due;
}

}  // namespace kelvane_hub
