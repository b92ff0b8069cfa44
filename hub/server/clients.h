// The connections of a hub, and which session each stands for.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hub/server/connection.h"
#include "hub/server/listener.h"
#include "hub/server/loop.h"
#include "hub/server/voice.h"
#include "hub/simulator/delivery.h"

namespace kelvane_hub {

/// What sessions want of the hub behind the connections.
class SessionHandler {
 public:
  virtual ~SessionHandler() = default;
  virtual void on_request(const Link& from, const std::string& envelope, Time now) = 0;
  virtual void on_end(SessionId session) = 0;
};

/// Takes connections from one source, reads their requests, and sends what is delivered to them: once a turn of the
/// loop. Ends those who break the rules, who do not say hello in time, and who leave too much waiting; says so.
class Clients final : public Delivery, public Party {
 public:
  /// Stops `loop` when `source` has dried up. `loop`, `handler` and `voice` outlive this object. Sessions are let in,
  /// but at first their requests wait.
  Clients(Loop& loop, std::unique_ptr<ConnectionSource> source, SessionHandler& handler, Voice& voice);

  /// From now on requests are handled.
  void release();

  /// Queues the event.
  void deliver(const Link& to, const std::string& message) override;

  /// Queues an event from the sensor 0 for each session, which session libraries drop as that of no sensor they know.
  /// Whoever has taken it has handled what came before.
  void send_mark();

  /// Whether nothing waits, neither here nor between the hub and its clients.
  bool is_all_taken() const;

  /// Whether nobody is connected.
  bool is_empty() const { return clients_.empty(); }

  /// Those who have not said hello have only so long; those who have asked for more than fits into a turn have more.
  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  struct Client {
    Connection connection;
    Loop::Entry entry;
    Interest interest{};      // as the loop knows it
    std::size_t counted = 0;  // of unsent_
    bool is_touched = false;  // stands in touched_
  };

  void take_connection(Time now);
  bool let_in(UniqueFd socket, Time now);
  void open_door();
  void close_door(const std::string& why);
  void serve(SessionId session, bool readable, bool writable, Time now);
  void take_requests(SessionId session, Client& client, Time now,
                     void (Connection::*step)(const Connection::HandleRequest&));
  Client& touch(SessionId session);
  void count_unsent(Client& client);
  void settle();
  bool settle(SessionId session, Client& client);
  void end_silent();
  void drop(SessionId session);

  Loop& loop_;
  std::unique_ptr<ConnectionSource> source_;
  SessionHandler& handler_;
  Voice& voice_;
  bool held_ = true;
  const std::size_t most_connections_;
  std::optional<Loop::Entry> door_;  // the source; none while there is no room
  std::optional<Time> door_due_;     // when to try again, if not when somebody has gone
  std::map<SessionId, Client> clients_;
  std::size_t unsent_ = 0;                            // bytes, of all
  std::deque<std::pair<Time, SessionId>> hello_due_;  // in order of time
  std::vector<SessionId> silent_;                     // in this turn: their time is up
  std::vector<SessionId> touched_;                    // in this turn: with something to write, or ended
  std::vector<SessionId> waiting_;                    // for the next turn: with requests to take
  SessionId last_session_ = 0;
};

}  // namespace kelvane_hub
