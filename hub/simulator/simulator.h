// The simulated sensor hub: what sessions ask of it and what it tells them.
//
// Knows nothing of sockets and clocks: requests come in with the time at which they came, and whoever runs the
// simulator calls advance() when next_due() has come. Single-threaded.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "hub/messages/catalogue.h"
#include "hub/messages/errors.h"
#include "hub/scenario/timeline.h"
#include "hub/simulator/modem.h"
#include "hub/simulator/sensor_use.h"
#include "hub/wire/frame.h"
#include "scenario.pb.h"

namespace kelvane_hub {

using SessionId = std::uint64_t;

class Simulator {
 public:
  /// Takes one serialised sns_client_event_msg from `sensor` to a session.
  using Deliver = std::function<void(SessionId session, suid sensor, const std::string& message)>;
  /// Takes one line without newline on why a change was or was not reported.
  using Explain = std::function<void(const std::string& line)>;

  /// Plays `played` (one that was checked) `speed` times as fast, 0.01 to 10000, from the first configuration of any
  /// sensor on. `explain` may be empty.
  Simulator(scenario played, double speed, Deliver deliver, Explain explain);
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  /// The session has asked `sensor` for what `envelope`, a serialised sns_client_request_msg, says. An envelope that is
  /// malformed, or a sensor that does not exist, is answered with an error event. advance(now) goes before: what is
  /// overdue has happened before the request came.
  void handle_request(SessionId session, suid sensor, const std::string& envelope, Time now);

  /// Nothing is delivered to the session any more.
  void end_session(SessionId session);

  /// When advance() has something to do; none while nothing is to come.
  std::optional<Time> next_due() const;

  /// Does what is due at `now`, in order of time. May leave some of it for the next call, so that the caller gets a
  /// chance to do other things.
  void advance(Time now);

 private:
  /// Who asked which sensor, and when.
  struct Asked {
    SessionId session;
    suid sensor;
    Time now;
  };
  struct PendingLookup {
    Time due;
    Asked asked;
    std::string data_type;
  };
  using SensorKey = std::pair<std::uint64_t, std::uint64_t>;
  using Uses = std::map<SensorKey, SensorUse>;

  // Requests: one function each, by message id.
  using RequestFunction = void (Simulator::*)(const Asked& asked, const std::string& payload);
  static RequestFunction find_request(std::uint32_t msg_id);
  void look_up(const Asked& asked, const std::string& payload);
  void send_attributes(const Asked& asked, const std::string& payload);
  void configure_on_change(const Asked& asked, const std::string& payload);
  void configure_streaming(const Asked& asked, const std::string& payload);
  void run_self_test(const Asked& asked, const std::string& payload);
  void configure_thresholds(const Asked& asked, const std::string& payload);
  void register_reports(const Asked& asked, const std::string& payload);
  void send_cell_location(const Asked& asked, const std::string& payload);

  const scenario_sensor* find_sensor(suid sensor) const;
  SensorUse& use_of(const Asked& asked);
  void start_scenario(Time now);
  void send(const Asked& to, std::uint32_t msg_id, const std::string& payload);
  void send_error(const Asked& to, HubError error);
  void report(const Asked& to, SensorUse& use, const Cells& cells);
  void report_all(const Asked& to, SensorUse& use);

  // What time brings.
  enum class Occasion { lookup, step, tick };
  struct Due {
    Time time;
    Occasion occasion;
  };
  std::optional<Due> next() const;
  void answer_due_lookups(Time now);
  void answer_lookup();
  void play(const scenario_step& step, Time now);
  void change_cells(const Cells& cells, Time now);
  void tell_cells_changed(const Asked& to, SensorUse& use, const Cells& cells);
  template <class Action>
  void for_each_use(Time now, const Action& action);
  template <class Condition>
  void tell(const Condition& condition, std::uint32_t msg_id, const std::string& payload, Time now);
  void tell_configured(std::uint32_t msg_id, const std::string& payload, Time now);
  void tick(Time now);

  const scenario scenario_;
  const std::set<std::uint32_t> subscriptions_;
  const Deliver deliver_;
  const Explain explain_;
  Timeline timeline_;
  Modem modem_;
  std::map<SessionId, Uses> sessions_;
  std::deque<PendingLookup> lookups_;  // in order of time
};

}  // namespace kelvane_hub
