// Where a hub's connections come from.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// What came to a source.
struct Arrival {
  UniqueFd connection;    // none: nothing came, or it was refused
  pid_t process = 0;      // that has made it; 0: the one that has started this one
  std::string complaint;  // why it was refused; empty: there is nothing to say
  bool no_room = false;   // it could not be taken yet: there are no descriptors left
  bool is_last = false;   // the source has dried up, and the hub is to end
};

/// Something to poll that yields connections. Whoever owns it serves on one thread.
class ConnectionSource {
 public:
  virtual ~ConnectionSource() = default;

  /// Readable when accept() will not block.
  virtual int descriptor() const = 0;

  /// The next connection.
  virtual Arrival accept() = 0;
};

/// A Unix socket at `path` that its owner alone can use. A stale socket there is replaced; one that a hub listens on,
/// or anything else, is left alone. Removed on destruction; `say` is told, in a line, if that cannot be done. Throws
/// InputError.
std::unique_ptr<ConnectionSource> listen_at(const std::string& path, std::function<void(const std::string& line)> say);

/// Where those who control the hub at `path` connect to.
inline std::string control_path_of(const std::string& path) { return path + ".control"; }

/// Connections handed over through `control` by the process that started this one; dries up when that ends.
std::unique_ptr<ConnectionSource> connections_from(UniqueFd control);

}  // namespace kelvane_hub
