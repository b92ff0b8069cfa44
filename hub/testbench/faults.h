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
/// What waits has 64 MiB at most; while there is no more room, messages come at once that were to come later.
///
/// Which messages are struck, and how, depends on the seed, the fault's number, the session's, and the message's within
/// its session and direction, and on nothing else. An event's time is the one that it bears. One thread.
class Faults final : public Delivery, public Party {
 public:
  /// Has the faults of `played`, drawn with `seed` or, without one, its own. `sessions` may be null: then no connection
  /// can be ended. All outlive this object.
  Faults(const PackedScenario& played, std::optional<std::uint64_t> seed, RequestTaker& taker, Delivery& delivery,
         Sessions* sessions);

  struct Known {
    std::size_t number;  // from 1; none is used twice
    scenario_fault fault;
    std::uint64_t struck = 0;  // messages
  };

  /// From now on messages may be struck by `fault`, too: one in which mistakes_in() finds none.
  void add(scenario_fault fault);

  /// From now on no message is struck, and sensors that are gone are back. What is late still comes.
  void clear();

  /// Those that there are, in order.
  const std::vector<Known>& all() const { return known_; }

  /// Seconds of the clock by which they may hold up a client and its last report, all together and roughly: as long as
  /// its first few messages are each late in their turn.
  double longest_delay() const;

  /// From now on `watcher`, which outlives this object, is told of each fault.
  void watch(Watcher& watcher) { watchers_.add(watcher); }

  std::uint64_t seed() const { return seed_; }

  void handle_request(const Link& from, const std::string& envelope, Time now);
  void deliver(const Link& to, const std::string& message) override;

  /// Nothing comes through for the session any more.
  void end_session(SessionId session);

  /// A scenario begins anew: what is late never comes, and sensors that are gone are back. Draws go on.
  void begin_anew();

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
  /// Counts bytes as long as it is there.
  class Weight {
   public:
    Weight(std::size_t bytes, std::size_t& total) : bytes_(bytes), total_(&total) { total += bytes; }
    Weight(Weight&& other) noexcept : bytes_(other.bytes_), total_(std::exchange(other.total_, nullptr)) {}
    ~Weight() {
      if (total_ != nullptr) *total_ -= bytes_;
    }
    Weight& operator=(Weight&&) = delete;

   private:
    std::size_t bytes_;
    std::size_t* total_;
  };
  /// A message that waits.
  struct OnItsWay {
    Link link;
    std::string bytes;
    Weight weight;
  };
  /// What has passed in one direction of one session.
  struct Stream {
    std::uint64_t messages = 0;
    std::map<std::size_t, Tally> tallies{};  // by the fault's number
    std::vector<OnItsWay> swapped{};         // wait for the next one
  };

  // Once there were any, something may be on its way.
  bool is_idle() const { return last_ == 0; }
  Stream& stream_of(SessionId session, Direction direction) { return streams_[{session, direction}]; }
  std::string data_type_of(const Message& message) const;
  static bool matches(const scenario_fault& fault, const Message& message);
  bool is_struck(const Known& known, const Message& message, Chance& chance);
  void strike_all(Message& message);
  void lose_sensors(Message& message);
  bool has_sensors(const std::string& data_type) const;
  bool is_gone(const std::string& data_type, Time now) const;
  bool end_connections(const Message& message);
  void settle(const Message& message, const std::string& bytes);
  bool has_room(std::size_t bytes);
  OnItsWay on_its_way(const Link& link, const std::string& bytes);
  void pass(Direction direction, const Link& link, const std::string& bytes, std::size_t copies, Time now);
  void hand_on(Direction direction, const Link& link, const std::string& bytes, Time now);
  void release(Direction direction, Time now);
  void restart();

  const PackedScenario& played_;
  const std::uint64_t seed_;
  RequestTaker& taker_;
  Delivery& delivery_;
  Sessions* const sessions_;
  Watchers watchers_;
  std::vector<Known> known_;
  std::size_t last_ = 0;     // number of a fault
  std::size_t waiting_ = 0;  // bytes of what is late or swapped; goes last
  bool is_full_ = false;     // which was said
  std::map<std::pair<SessionId, Direction>, Stream> streams_;
  std::map<Direction, std::multimap<Time, OnItsWay>> late_;  // by the time at which they are to come
  std::map<std::string, Time> gone_;                         // data types of sensors, and until when they are gone
};

}  // namespace kelvane_hub
