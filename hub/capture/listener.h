#pragma once

#include <memory>

#include "hub/wire/capture_file.h"

namespace kelvane_hub {

/// Shared by all who listen.
using Heard = std::shared_ptr<const CaptureRecord>;

/// Whoever listens to what a hub and its clients say to each other.
class WireListener {
 public:
  virtual ~WireListener() = default;

  /// Is told of each message in the order in which they are said, on the hub's thread, which does not wait: whoever has
  /// much to do with it does so elsewhere.
  virtual void hear(const Heard& message) = 0;

  /// Whether there is anything to listen for.
  virtual bool is_listening() const { return true; }
};

}  // namespace kelvane_hub
