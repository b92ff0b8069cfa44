// What time brings: the scenario's steps and periodic reports, and who is told of them.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hub/scenario/packed_scenario.h"
#include "hub/scenario/step_source.h"
#include "hub/simulator/modem.h"
#include "hub/simulator/outbox.h"
#include "hub/simulator/sensor_use.h"

namespace kelvane_hub {

/// Applies steps to the modem and tells the sessions. Whoever configures a session does it here.
class Playback final : public Party {
 public:
  /// Plays the steps of `source` to a modem with the subscriptions of `played`, to be told by `outbox`. Source and
  /// outbox outlive this object.
  Playback(const PackedScenario& played, StepSource& source, Outbox& outbox);

  const Modem& modem() const { return modem_; }

  /// What sessions have asked for, each of each sensor.
  const std::map<UseKey, SensorUse>& uses() const { return uses_; }

  /// Whether it was said with register_for().
  bool is_registered(const UseKey& key, std::uint32_t msg_id) const;

  /// The step happens now, whatever the source says.
  void apply(const scenario_step& step, Time now) { play(step, now, source_.at(now)); }

  /// Scenario time has jumped, so that no time has passed.
  void note_jump(ScenarioTime by);

  /// Back to before the first configuration, with the source and a modem that has no state; if a session has configured
  /// a sensor, the scenario begins at once.
  void restart(Time now);

  /// From now on changes of the cells of its subscription are told as `config`, an accepted one, says.
  void set_thresholds(const Link& link, mox_wwan_signal_strength_config config);

  /// From now on the session is told of events with that id.
  void register_for(const Link& link, std::uint32_t msg_id);

  /// From now on the session is told of the cells as `configuration` says; `rate`, reports a second from 1 on, counts
  /// for a periodic one.
  void configure(const Link& link, Configuration configuration, std::int32_t rate, Time now);

  /// The first time: scenario time begins, and what happens at 0 happens, or begins to if it is very much.
  void start(Time now);

  /// Tells of the cells of every subscription.
  void send_all_cells(const Link& to, Time now);

  void end_session(SessionId session);

  std::optional<Time> next_due() const override;

  /// Plays what is due in order of time; of very much only a part, so that others get their turn.
  void advance(Time now) override;

 private:
  /// Those who are told of something.
  using Audience = std::map<UseKey, SensorUse*>;
  using Tick = std::pair<Time, UseKey>;

  SensorUse& use_of(const Link& link) { return uses_[key_of(link)]; }
  void play_next(Time due, Time now);
  void note_progress(Time now);
  void complete_start(Time now);
  void play(const scenario_step& step, Time now, ScenarioTime time);
  void play_event(const google::protobuf::Message& event, std::optional<std::uint32_t> sub, Time now);
  void change_cells(const Cells& cells, const Cells& told, Time now);
  void tell(const Audience& audience, std::uint32_t msg_id, const std::string& payload, Time now);
  std::optional<Time> next_tick() const;
  void tick(Time now);
  std::vector<UseKey> take_ticks(Time now);
  void drop_tick(const UseKey& key, const SensorUse& use);
  void note_behind(Time due, Time now);

  Outbox& outbox_;
  StepSource& source_;
  const bool fills_timestamps_;
  std::optional<Time> starting_;  // while what happens at 0 still happens: when it began to
  bool end_told_ = false;
  std::optional<Time> behind_;  // when it was last found to be
  Modem modem_;
  std::map<UseKey, SensorUse> uses_;
  // Of these; so that an event costs those who are told of it, not those who are not.
  Audience configured_;
  Audience on_change_;
  std::map<std::uint32_t, Audience> registered_;  // by the event's id
  std::set<Tick> ticks_;                          // the next one of each periodic use
};

}  // namespace kelvane_hub
