#pragma once

#include <string>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// Keeps other hubs of this user from taking or leaving a place in the file system while it lives: by a lock on a file
/// beside it, PATH.lock, which nobody else can open, and which is removed in the end.
class PathLock {
 public:
  /// Waits 5 s for another hub. Throws InputError if there cannot be such a file, if it belongs to another user, or if
  /// it stays locked.
  explicit PathLock(const std::string& path);
  ~PathLock();
  PathLock(const PathLock&) = delete;
  PathLock& operator=(const PathLock&) = delete;

 private:
  bool acquire(const std::string& path);

  std::string name_;
  UniqueFd file_;
};

}  // namespace kelvane_hub
