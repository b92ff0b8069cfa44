// A process that this one has started.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <mutex>
#include <string>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// Known by a descriptor, not by its number: that may be another process's as soon as this one has been reaped, and
/// where SIGCHLD is ignored, the kernel does that. Kernels without such descriptors are asked for a child of that
/// number instead. Any thread; a thread that a signal handler may interrupt blocks the signals.
class Child {
 public:
  /// To be made right after `process`, which leads a process group of its own, has been started.
  explicit Child(pid_t process);

  /// Waits until it has ended, at most for `longest`, and reaps it. Returns whether it has ended.
  bool wait_for_end(std::chrono::milliseconds longest);

  /// Kills it with all of its process group, unless it is known to have ended.
  void kill();

  /// "it ended with exit status 1", "it was ended by signal 9" or, if nobody can tell, "it ended". Of one that has
  /// ended.
  std::string how_it_ended() const;

 private:
  int look(siginfo_t& found, int options) const;
  bool reap();

  const pid_t number_;
  UniqueFd descriptor_;  // none where the kernel has none
  mutable std::mutex mutex_;
  bool ended_ = false;
  siginfo_t end_{};
};

}  // namespace kelvane_hub
