// One client's end of the wire, as the hub holds it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "hub/base/unique_fd.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// Reads requests and queues events; never blocks. When it is of no use any more, ended() says so and why.
class Connection {
 public:
  using HandleRequest = std::function<void(suid sensor, const std::string& envelope)>;

  /// Takes over `socket`.
  explicit Connection(UniqueFd socket);

  /// Whether the client has introduced itself; until then it is given little room, and it had better not wait long.
  bool said_hello() const { return said_hello_; }

  /// Ends the connection for what the client did wrong; empty: nothing.
  void end(std::string complaint);

  int descriptor() const { return socket_.get(); }
  bool wants_to_write() const { return written_ < unsent_.size(); }
  bool ended() const { return ended_; }

  /// What the client did wrong, if it did not simply go.
  const std::string& complaint() const { return complaint_; }

  /// Reads what has come and hands each whole request to `handle`, which may queue events here.
  void read(const HandleRequest& handle);

  /// Writes what the client is ready to take; of what came before it ended, too.
  void write();

  /// Queues an event, which the next write() sends. A client that leaves more than most_unsent bytes waiting is given
  /// up.
  void send_event(suid sensor, const std::string& message);

  static constexpr std::size_t most_unsent = std::size_t{128} << 20;

 private:
  void take_frames(const HandleRequest& handle);
  void queue(const std::string& bytes);

  UniqueFd socket_;
  FrameReader reader_{hello_text.size()};
  bool said_hello_ = false;
  std::string unsent_;
  std::size_t written_ = 0;  // of unsent_
  bool ended_ = false;
  std::string complaint_;
};

}  // namespace kelvane_hub
