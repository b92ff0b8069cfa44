// What a simulated hub tells its sessions.
#pragma once

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

  void send(const Link& to, std::uint32_t msg_id, const std::string& payload, Time now);
  void send_error(const Link& to, HubError error, Time now);

  /// Sends cells, and notes in `use` that they were told at scenario time `told`.
  void send_cells(const Link& to, SensorUse& use, const Cells& cells, Time now, ScenarioTime told);

 private:
  Delivery& delivery_;
  Watchers watchers_;
};

}  // namespace kelvane_hub
