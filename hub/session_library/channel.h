// A session's connection to the hub, and the thread that calls its callbacks.
#pragma once

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
/// that a callback may destroy the session it belongs to.
class Channel {
 public:
  /// Starts the thread, which blocks all signals.
  Channel(HubConnection hub, std::shared_ptr<Callbacks> callbacks);

  /// Stops as stop() does.
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  /// Sends one request. Returns false if the hub is gone. Any thread.
  bool send(suid sensor, std::string_view request);

  /// Ends the connection. On return no callback runs, unless it is a callback of this channel that calls. Any thread.
  void stop();

  /// By stop() or because the hub is gone.
  bool stopped() const { return shared_->stopped; }

 private:
  struct Shared {
    UniqueFd socket;
    std::shared_ptr<Callbacks> callbacks;
    std::atomic<bool> stopped = false;
  };

  static void run(const std::shared_ptr<Shared>& shared, FrameReader reader);
  static bool deliver_frames(Shared& shared, FrameReader& reader);
  static void deliver(const Callbacks& callbacks, const Frame& frame);

  std::shared_ptr<Shared> shared_;
  std::mutex send_mutex_;
  std::mutex join_mutex_;
  std::thread thread_;
  std::thread::id thread_id_;
};

}  // namespace kelvane_hub
