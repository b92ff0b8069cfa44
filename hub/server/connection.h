// One client's end of the wire, as the hub holds it.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "hub/base/party.h"
#include "hub/base/unique_fd.h"
#include "hub/server/loop.h"
#include "hub/server/outgoing.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// Reads requests and queues events; never blocks. When it is of no use any more, ended() says so and why.
///
/// Whoever asks faster than it takes the answers is not heard while many of them wait. Each call does a bounded amount
/// of work.
class Connection {
 public:
  using HandleRequest = std::function<void(suid sensor, const std::string& envelope)>;

  /// Takes over `socket`.
  explicit Connection(UniqueFd socket);

  /// Whether the client has introduced itself; until then it is given little room, and it had better not wait long.
  bool said_hello() const { return said_hello_; }

  /// Ends the connection for what the client did wrong; empty: nothing.
  void end(std::string complaint);

  /// The same, and gives back the room of what it has not taken.
  void give_up(std::string complaint);

  /// The client takes nothing any more, but what it has asked for until it went is still taken from it: what waits for
  /// it, and what is sent from now on, is dropped.
  void stop_writing();

  /// Whether nothing of what the client has sent so far is left to be taken.
  bool is_all_heard() const;

  bool ended() const { return ended_; }

  /// What the client did wrong, if it did not simply go.
  const std::string& complaint() const { return complaint_; }

  /// What is to be waited for.
  Interest interest() const;

  /// Reads what has come, if all that came before is taken.
  void read();

  /// Whether what has been read can be taken now.
  bool has_more() const { return has_more_ && !is_deaf() && !ended_; }

  /// Answers the hello with `hello`, and hands whole requests to `handle`, which may queue events here; of many
  /// requests only the first few. Returns how many there were.
  int take(const SharedOutgoing& hello, const HandleRequest& handle, Time now);

  /// Queues an event, which write() sends. A client that leaves more than most_unsent bytes waiting is given up.
  void send(SharedOutgoing event, Time now);

  /// Writes what the client is ready to take, a few events at a time; of what came before it ended, too. Returns how
  /// many bytes that were. Stops writing to a client that takes nothing any more.
  std::size_t write();

  /// Bytes that wait for the client to take them.
  std::size_t unsent() const { return unsent_; }

  /// Since when the first of them has waited; none if nothing waits.
  std::optional<Time> waiting_since() const;

  /// Whether the client has read all that was queued.
  bool is_all_taken() const;

  static constexpr std::size_t most_unsent = std::size_t{128} << 20;

 private:
  struct Waiting {
    SharedOutgoing event;
    Time since;
  };

  /// While it is, nothing is read or taken.
  bool is_deaf() const;
  void drop_written(std::size_t written);
  void drop_waiting();

  UniqueFd socket_;
  FrameReader reader_{hello_text.size()};
  bool has_more_ = false;  // the reader may hold a whole frame
  bool said_hello_ = false;
  std::deque<Waiting> waiting_;
  std::size_t written_ = 0;  // of the first
  std::size_t unsent_ = 0;
  bool writes_ = true;
  bool ended_ = false;
  std::string complaint_;
};

}  // namespace kelvane_hub
