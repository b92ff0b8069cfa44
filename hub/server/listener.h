// Where a hub's connections come from.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// Something to poll that yields connections. Whoever owns it serves on one thread.
class ConnectionSource {
 public:
  virtual ~ConnectionSource() = default;

  /// Readable when accept() will not block.
  virtual int descriptor() const = 0;

  /// The next connection: none if the source has dried up and the hub is to end, an empty one if what came was refused.
  virtual std::optional<UniqueFd> accept() = 0;
};

/// A Unix socket at `path` that its owner alone can use. A stale socket there is replaced; one that a hub listens on,
/// or anything else, is left alone. Removed on destruction. Throws InputError.
std::unique_ptr<ConnectionSource> listen_at(const std::string& path);

/// Connections handed over through `control` by the process that started this one; dries up when that ends.
std::unique_ptr<ConnectionSource> connections_from(UniqueFd control);

}  // namespace kelvane_hub
