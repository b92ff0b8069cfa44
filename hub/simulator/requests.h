// How a simulated hub answers requests.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "hub/scenario/packed_scenario.h"
#include "hub/simulator/outbox.h"
#include "hub/simulator/playback.h"

namespace kelvane_hub {

/// Answers at once, but for lookups, which take their time.
class Requests final : public Party {
 public:
  /// Answers for the sensors of `played`. All three outlive this object.
  Requests(const PackedScenario& played, Playback& playback, Outbox& outbox);

  /// `envelope` is a serialised sns_client_request_msg. One that is malformed, or for a sensor that does not exist, is
  /// answered with an error event.
  void handle(const Link& from, const std::string& envelope, Time now);

  void end_session(SessionId session);

  std::optional<Time> next_due() const override;

  /// Answers lookups that are due; of very many only a part.
  void advance(Time now) override;

 private:
  struct PendingLookup {
    Time due;
    Link from;
    std::string data_type;
  };

  // One function a request, by message id.
  using Function = void (Requests::*)(const Link& from, const std::string& payload, Time now);
  static Function find_function(std::uint32_t msg_id);
  void send_attributes(const Link& from, const std::string& payload, Time now);
  void configure_on_change(const Link& from, const std::string& payload, Time now);
  void configure_streaming(const Link& from, const std::string& payload, Time now);
  void run_self_test(const Link& from, const std::string& payload, Time now);
  void configure_thresholds(const Link& from, const std::string& payload, Time now);
  void register_events(const Link& from, const std::string& payload, Time now);
  void send_cell_location(const Link& from, const std::string& payload, Time now);

  void look_up(const Link& from, const std::string& payload, Time now);
  void answer(const PendingLookup& lookup);
  const scenario_sensor* find_sensor(suid sensor) const;

  const scenario& scenario_;
  const std::set<std::uint32_t> subscriptions_;
  Playback& playback_;
  Outbox& outbox_;
  std::deque<PendingLookup> lookups_;  // in order of time; of sessions that have ended, too
  std::map<SessionId, int> pending_;   // how many of them each session has
};

}  // namespace kelvane_hub
