#pragma once

#include <cstdint>

#include "hub/wire/frame.h"

namespace kelvane_hub {

using SessionId = std::uint64_t;

/// A session and the sensor that it talks to: where a request comes from, and where an event goes.
struct Link {
  SessionId session;
  suid sensor;
};

}  // namespace kelvane_hub
