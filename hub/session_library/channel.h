// A session's connection to the hub, and the thread that calls its callbacks.
#pragma once

#include <unistd.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "hub/session_library/connect.h"
#include "kelvane/session.h"

namespace kelvane_hub {

using event_callback = com::tarn::kelvane::session::V1_0::ISession::event_callback;

/// Which callback gets the events of which sensor. Any thread.
class Callbacks {
 public:
  /// Replaces the sensor's callback, if it has one.
  void set(suid sensor, event_callback callback);

  /// The sensor's callback, or null. It stays valid while the pointer is held, replaced or not.
  std::shared_ptr<const event_callback> find(suid sensor) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::shared_ptr<const event_callback>> by_sensor_;
};

/// From the hello to the end of the connection. Owned by its session; its thread holds a share of the connection, so
/// that a callback may destroy the session it belongs to. In a child that the process has forked it is of no use, does
/// nothing and waits for nothing: the connection stays the parent's.
class Channel {
 public:
  Channel(HubConnection hub, std::shared_ptr<Callbacks> callbacks);

  /// Starts the thread, which blocks all signals. Once, when callbacks can find the channel; they may stop and destroy
  /// it at once. Throws std::system_error.
  void begin();

  /// Stops as stop() does.
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  /// Sends one request. Returns false if the hub is gone. Any thread.
  bool send(suid sensor, std::string_view request);

  /// Ends the connection. On return no callback runs, unless it is a callback of this channel that calls. Any thread.
  void stop();

  /// By stop() or because the hub is gone.
  bool stopped() const { return shared_->stopped || is_forked(); }

 private:
  struct Shared {
    HubConnection hub;
    std::shared_ptr<Callbacks> callbacks;
    std::atomic<bool> stopped = false;
    std::mutex starting;
  };

  static void run(Shared& shared);
  static void end(Shared& shared);
  static bool deliver_frames(Shared& shared);
  bool is_forked() const { return getpid() != owner_; }
  static void deliver(const Callbacks& callbacks, const Frame& frame);

  std::shared_ptr<Shared> shared_;
  std::mutex send_mutex_;
  std::mutex join_mutex_;
  std::thread thread_;
  const pid_t owner_ = getpid();
};

}  // namespace kelvane_hub
