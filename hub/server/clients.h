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
#include "hub/testbench/faults.h"

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
///
/// In a turn only so much is taken from clients and written to them, all together; who has had no turn is the first in
/// the next one.
class Clients final : public Delivery, public Sessions, public Party {
 public:
  /// Stops `loop` when `source` has dried up. `loop`, `handler` and `voice` outlive this object. Connections are taken
  /// at once, but at first nothing is read from them.
  Clients(Loop& loop, std::unique_ptr<ConnectionSource> source, SessionHandler& handler, Voice& voice);

  /// From now on hellos are exchanged.
  void greet();

  /// From now on requests are handled, too.
  void release();

  /// Queues the event.
  void deliver(const Link& to, const std::string& message) override;

  /// Ends the connection of the session, if there is one, at the end of the turn; what was queued before is still
  /// written, as far as the client is ready to take it.
  void cut(SessionId session) override;
  void cut_all() override;

  /// Queues an event from the sensor 0 for each session, which session libraries drop as that of no sensor they know.
  /// Whoever has taken it has handled what came before.
  void send_mark();

  /// Whether nothing waits, neither here nor between the hub and its clients.
  bool is_all_taken() const;

  /// Whether nothing waits to be taken of all that clients have sent so far, those who are not let in yet among them.
  bool is_all_heard() const;

  /// Whether nobody is connected.
  bool is_empty() const { return clients_.empty(); }

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  /// What the connections of one process have in common: it is one peer, however many it opens.
  struct Process {
    std::size_t connections = 0;
    std::size_t unsent = 0;          // bytes, to all of them
    std::deque<SessionId> asking{};  // with something to take
    bool is_asking = false;          // stands in asking_
  };
  struct Client {
    Connection connection;
    Loop::Entry entry;
    pid_t process;            // at its other end; 0: not known
    std::size_t counted = 0;  // of its process's unsent
    Interest interest{};      // as the loop knows it
    bool is_touched = false;  // stands in touched_
    bool is_asking = false;   // stands in its process's
    bool has_gone = false;    // and the loop knows it no more
  };

  void take_connection(Time now);
  bool let_in(UniqueFd socket, pid_t process, Time now);
  void open_door();
  void close_door(const std::string& why);
  void serve(SessionId session, bool readable, bool writable);
  void note_gone(Client& client);
  Client& touch(SessionId session);
  void touch_all();
  void let_ask(SessionId session, Client& client);
  bool may_take(const Client& client) const;
  void count_unsent(Client& client);
  void let_ask(pid_t number, Process& process);
  void take_from(SessionId session, int& left);
  SharedOutgoing outgoing(suid sensor, const std::string& message);
  void end_turn();
  void end_silent();
  void take_requests();
  void make_room();
  void settle();
  bool settle(Client& client, std::size_t& left);
  void drop(SessionId session);

  Loop& loop_;
  std::unique_ptr<ConnectionSource> source_;
  SessionHandler& handler_;
  Voice& voice_;
  bool greets_ = false;
  bool answers_ = false;
  Time now_{};  // of the turn
  const std::size_t most_connections_;
  std::optional<Loop::Entry> door_;  // the source; none while there is no room
  std::optional<Time> door_due_;     // when to try again, if not when somebody has gone
  std::size_t waiting_bytes_ = 0;    // for all clients, those of a shared event once
  const SharedOutgoing hello_;
  suid last_from_{};  // of this turn: the event that was made last, which others may share
  SharedOutgoing last_;
  std::map<SessionId, Client> clients_;
  std::map<pid_t, Process> processes_;
  std::deque<std::pair<Time, SessionId>> hello_due_;  // in order of time
  std::vector<SessionId> silent_;                     // in this turn: their time is up
  std::deque<SessionId> touched_;                     // with something to write, or ended
  std::deque<pid_t> asking_;                          // processes with something to take
  std::optional<Time> room_due_;                      // when to look again for those who take up the room
  SessionId last_session_ = 0;
};

}  // namespace kelvane_hub
