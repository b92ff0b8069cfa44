// Sessions by the hundred, as cheap as they come.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/event_scan.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub::bench {

/// Time on the clock that hubs use.
Time now();

/// Connections to one hub, by number from 0. One thread, which never sleeps in receive(): then the hub has nobody to
/// wake up, and what it costs is its own.
class Load {
 public:
  /// `received`: when it was read from the socket.
  using OnEvent = std::function<void(std::size_t session, const EventView& event, Time received)>;

  /// To the hub at `socket`, which outlives this object. Sessions may be as many as this process can have descriptors.
  explicit Load(std::string socket);

  /// Connects and says hello. Returns the session's number, that of one that was closed if there is one. Throws
  /// std::runtime_error.
  std::size_t open();

  /// So many more.
  std::vector<std::size_t> open(int count);

  /// Without effect on one that is closed.
  void close(std::size_t session);

  /// Whether neither side has closed it.
  bool is_open(std::size_t session) const { return static_cast<bool>(sessions_[session].socket); }

  /// Sends all of `bytes`, whole frames.
  void send(std::size_t session, std::string_view bytes);

  /// Sends as much of `bytes` as there is room for. Returns how much that was.
  std::size_t offer(std::size_t session, std::string_view bytes);

  /// Reads once from each session that has something. `on_event` neither opens nor closes sessions.
  void receive(const OnEvent& on_event);

  /// The same over and over until `end`.
  void receive_until(Time end, const OnEvent& on_event);

 private:
  struct Session {
    UniqueFd socket;
    std::string rest;  // the beginning of a frame
  };

  void read(std::size_t number, const OnEvent& on_event);

  std::string socket_;
  UniqueFd epoll_;
  std::vector<Session> sessions_;
  std::vector<char> buffer_;
};

}  // namespace kelvane_hub::bench
