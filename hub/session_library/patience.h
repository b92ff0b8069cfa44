#pragma once

#include <chrono>
#include <string>

#include "hub/base/signals_blocked.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// How long a hub is waited for from now on: a while, but not for long any more once a signal has come. Signals are
/// handled during its waits and at no other time while it lives, so that none is missed. One that would end the process
/// ends the wait, and the process once this object is gone: until then a program that has been started can be ended,
/// too.
class Patience {
  using Clock = std::chrono::steady_clock;

 public:
  explicit Patience(std::chrono::seconds longest);

  /// Waits for input from `socket` (-1: from nothing), at most for `pause`. Throws std::runtime_error, `missed`
  /// followed by why the wait is over, when it is.
  void wait(int socket, std::chrono::milliseconds pause, const std::string& missed);

  /// Whether it is over without a signal.
  bool ran_out() const { return !interrupted_ && Clock::now() >= end_; }

 private:
  const SignalsBlocked signals_blocked_;
  sigset_t blocked_in_wait_;
  UniqueFd fatal_signals_;  // readable when one has come
  const std::chrono::seconds longest_;
  Clock::time_point end_ = Clock::now() + longest_;
  bool interrupted_ = false;
};

}  // namespace kelvane_hub
