// What a simulated hub tells its sessions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "hub/messages/errors.h"
#include "hub/simulator/delivery.h"
#include "hub/simulator/sensor_use.h"
#include "hub/simulator/watcher.h"

namespace kelvane_hub {

/// Puts events into their envelope and hands them on; each bears the time at which it was sent.
class Outbox {
 public:
  /// `delivery` outlives this object.
  explicit Outbox(Delivery& delivery) : delivery_(delivery) {}

  /// Those who are told of what happens; of the events they are told here.
  Watchers& watchers() { return watchers_; }

  /// How many events were sent so far.
  std::size_t sent() const { return sent_; }

  void send(const Link& to, std::uint32_t msg_id, const std::string& payload, Time now);
  void send_error(const Link& to, HubError error, Time now);

 private:
  friend class Broadcast;
  void send(const Link& to, const std::string& message, Time now);

  Delivery& delivery_;
  Watchers watchers_;
  std::size_t sent_ = 0;
};

/// One event that several sessions are told of at the same time. It is put into its envelope once for all who are told
/// of it in turn by the same sensor.
class Broadcast {
 public:
  /// `outbox` and `payload` outlive this object.
  Broadcast(Outbox& outbox, std::uint32_t msg_id, const std::string& payload, Time now)
      : outbox_(outbox), msg_id_(msg_id), payload_(payload), now_(now) {}

  void send(const Link& to);

 private:
  Outbox& outbox_;
  const std::uint32_t msg_id_;
  const std::string& payload_;
  const Time now_;
  suid from_{};
  std::string message_;  // by the sensor `from_`; empty before the first
};

/// Tells sessions of the cells of one subscription, and notes for each what it was told.
class CellsBroadcast {
 public:
  /// `outbox` outlives this object; `told` is scenario time at `now`.
  CellsBroadcast(Outbox& outbox, SharedCells cells, Time now, ScenarioTime told);

  void send(const Link& to, SensorUse& use);

 private:
  const SharedCells cells_;
  const ScenarioTime told_;
  Broadcast event_;
};

}  // namespace kelvane_hub
