// One client's end of the wire, as the hub holds it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "hub/base/unique_fd.h"
#include "hub/server/loop.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// Reads requests and queues events; never blocks. When it is of no use any more, ended() says so and why.
///
/// Whoever asks faster than it takes the answers is not heard while many of them wait. Each call does a bounded amount
/// of work.
class Connection {
 public:
  using HandleRequest = std::function<void(suid sensor, const std::string& envelope)>;

  /// Takes over `socket`. While `held`, hellos are exchanged, but requests wait.
  Connection(UniqueFd socket, bool held);

  /// From now on requests are taken.
  void release() { held_ = false; }

  /// Whether the client has introduced itself; until then it is given little room, and it had better not wait long.
  bool said_hello() const { return said_hello_; }

  /// Ends the connection for what the client did wrong; empty: nothing.
  void end(std::string complaint);

  /// The same, and gives back the room of what it has not taken.
  void give_up(std::string complaint);

  bool ended() const { return ended_; }

  /// What the client did wrong, if it did not simply go.
  const std::string& complaint() const { return complaint_; }

  /// What is to be waited for.
  Interest interest() const;

  /// Reads what has come, if all that came before is taken, and takes it on.
  void read(const HandleRequest& handle);

  /// Whether requests have been read that can be taken now.
  bool has_more() const { return has_more_ && !is_deaf() && !ended_; }

  /// Hands whole requests to `handle`, which may queue events here; of many only the first few.
  void take(const HandleRequest& handle);

  /// Writes what the client is ready to take; of what came before it ended, too.
  void write();

  /// Queues an event, which write() sends. A client that leaves more than most_unsent bytes waiting is given up.
  void send_event(suid sensor, const std::string& message);

  /// Bytes that wait for the client to take them.
  std::size_t unsent() const { return unsent_.size() - written_; }

  /// Whether the client has read all that was queued.
  bool is_all_taken() const;

  static constexpr std::size_t most_unsent = std::size_t{128} << 20;

 private:
  /// While it is, nothing is read or taken.
  bool is_deaf() const;
  void take_frame(const Frame& frame, const HandleRequest& handle);

  UniqueFd socket_;
  FrameReader reader_{hello_text.size()};
  bool held_;
  bool has_more_ = false;  // the reader may hold a whole frame
  bool said_hello_ = false;
  std::string unsent_;
  std::size_t written_ = 0;  // of unsent_
  bool ended_ = false;
  std::string complaint_;
};

}  // namespace kelvane_hub
