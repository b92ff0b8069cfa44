// What time brings: the scenario's steps and periodic reports, and who is told of them.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <tuple>

#include "hub/scenario/timeline.h"
#include "hub/simulator/modem.h"
#include "hub/simulator/outbox.h"
#include "hub/simulator/sensor_use.h"

namespace kelvane_hub {

/// Applies steps to the modem and tells the sessions. Whoever configures a session does it here.
class Playback final : public Party {
 public:
  /// Plays `played` `speed` times as fast, to be told by `outbox`. Both outlive this object.
  Playback(const PackedScenario& played, double speed, Outbox& outbox);

  const Modem& modem() const { return modem_; }

  /// What the session has made of the sensor; made on first use.
  SensorUse& use_of(const Link& link) { return sessions_[link.session][key_of(link.sensor)]; }

  /// From now on the session is told of the cells as `configuration` says; `rate`, reports a second from 1 on, counts
  /// for a periodic one.
  void configure(const Link& link, Configuration configuration, std::int32_t rate, Time now);

  /// The first time: scenario time begins, and what happens at 0 happens.
  void start(Time now);

  /// Tells of the cells of every subscription.
  void send_all_cells(const Link& to, Time now);

  void end_session(SessionId session);

  std::optional<Time> next_due() const override;

  /// Plays what is due in order of time.
  void advance(Time now) override;

 private:
  using Tick = std::tuple<Time, SessionId, SensorKey>;
  using Concerns = std::function<bool(const SensorUse&)>;

  void play(const scenario_step& step, Time now);
  void play_event(const google::protobuf::Message& event, std::optional<std::uint32_t> sub, Time now);
  void change_cells(const Cells& cells, Time now);
  void tell_cells_changed(const Link& to, SensorUse& use, const Cells& cells, Time now);
  void tell(const Concerns& concerns, std::uint32_t msg_id, const std::string& payload, Time now);
  std::optional<Time> next_tick() const;
  void tick(Time now);
  void drop_tick(SessionId session, const SensorKey& sensor, const SensorUse& use);

  Outbox& outbox_;
  Timeline timeline_;
  Modem modem_;
  Sessions sessions_;
  std::set<Tick> ticks_;  // the next one of each periodic use
};

}  // namespace kelvane_hub
