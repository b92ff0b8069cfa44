// What goes wrong between sessions and a simulator, on purpose.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hub/base/party.h"
#include "hub/scenario/packed_scenario.h"
#include "hub/simulator/delivery.h"
#include "hub/simulator/watcher.h"
#include "hub/testbench/fault_kinds.h"

namespace kelvane_hub {

/// Where the requests go that come through.
class RequestTaker {
 public:
  virtual ~RequestTaker() = default;
  virtual void take_request(const Link& from, const std::string& envelope, Time now) = 0;

  /// Answers a request, which did not come through, with an error.
  virtual void refuse(const Link& from, HubError error, Time now) = 0;
};

/// The connections behind sessions. A session that is ended here is so at the end of the turn; until then it takes
/// events, which are lost.
class Sessions {
 public:
  virtual ~Sessions() = default;
  virtual void cut(SessionId session) = 0;
  virtual void cut_all() = 0;
};

/// Stands in both ways: requests come to handle_request() and go to a RequestTaker, events come to deliver() and go to
/// a Delivery. Where there are no faults, both go through as they are.
///
/// Which messages are struck, and how, depends on the seed, the fault's number, the session's, and the message's within
/// its session and direction, and on nothing else. An event's time is the one that it bears. One thread.
class Faults final : public Delivery, public Party {
 public:
  /// Has the faults of `played`, drawn with `seed` or, without one, its own. `sessions` may be null: then no connection
  /// can be ended. All outlive this object.
  Faults(const PackedScenario& played, std::optional<std::uint64_t> seed, RequestTaker& taker, Delivery& delivery,
         Sessions* sessions);

  /// From now on messages may be struck by `fault`, too: one in which mistakes_in() finds none.
  void add(scenario_fault fault) { faults_.push_back(std::move(fault)); }

  /// From now on `watcher`, which outlives this object, is told of each fault.
  void watch(Watcher& watcher) { watchers_.add(watcher); }

  std::uint64_t seed() const { return seed_; }

  void handle_request(const Link& from, const std::string& envelope, Time now);
  void deliver(const Link& to, const std::string& message) override;

  /// Nothing comes through for the session any more.
  void end_session(SessionId session);

  /// A scenario begins anew: what is late never comes, and sensors that are gone are back. Draws go on.
  void begin_anew() {
    late_.clear();
    gone_.clear();
  }

  /// What is late comes then.
  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  using Direction = scenario_fault::Direction;

  /// How often a fault has matched messages of a session, and struck them.
  struct Tally {
    std::uint64_t matched = 0;
    std::uint64_t struck = 0;
  };
  struct OnItsWay {
    Link link;
    std::string bytes;
  };
  /// What has passed in one direction of one session.
  struct Stream {
    std::uint64_t messages = 0;
    std::map<std::size_t, Tally> tallies{};  // by the fault's number
    std::vector<OnItsWay> swapped{};         // wait for the next one
  };

  // Once there are any, they stay.
  bool is_idle() const { return faults_.empty(); }
  Stream& stream_of(SessionId session, Direction direction) { return streams_[{session, direction}]; }
  std::string data_type_of(const Message& message) const;
  static bool matches(const scenario_fault& fault, const Message& message);
  bool is_struck(std::size_t fault, const Message& message, Chance& chance);
  void strike_all(Message& message);
  void lose_sensors(Message& message);
  bool is_gone(const std::string& data_type, Time now) const;
  bool end_connections(const Message& message);
  void settle(const Message& message, const std::string& bytes);
  void pass(Direction direction, const std::vector<OnItsWay>& messages, Time now);
  void hand_on(Direction direction, const OnItsWay& message, Time now);
  void release(Direction direction, Time now);
  void restart();

  const PackedScenario& played_;
  const std::uint64_t seed_;
  RequestTaker& taker_;
  Delivery& delivery_;
  Sessions* const sessions_;
  Watchers watchers_;
  std::vector<scenario_fault> faults_;
  std::map<std::pair<SessionId, Direction>, Stream> streams_;
  std::map<Direction, std::multimap<Time, OnItsWay>> late_;  // by the time at which they are to come
  std::map<std::string, Time> gone_;                         // data types of sensors, and until when they are gone
};

}  // namespace kelvane_hub
