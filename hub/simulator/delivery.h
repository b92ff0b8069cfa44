#pragma once

#include <string>

#include "hub/simulator/link.h"

namespace kelvane_hub {

/// Where a simulator's events go. Whoever takes one queues it: it does not call the simulator back.
class Delivery {
 public:
  virtual ~Delivery() = default;

  /// Takes one serialised sns_client_event_msg.
  virtual void deliver(const Link& to, const std::string& message) = 0;
};

}  // namespace kelvane_hub
