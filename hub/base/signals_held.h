#pragma once

#include <chrono>
#include <csignal>
#include <initializer_list>

namespace kelvane_hub {

/// Holds signals back while it lives; what came meanwhile takes effect afterwards. To be used while there is one
/// thread.
class SignalsHeld {
 public:
  /// All that can be held.
  SignalsHeld() {
    sigfillset(&held_);
    sigprocmask(SIG_BLOCK, &held_, &masked_before_);
  }
  /// These, but for those that are ignored: wait() would tell of them, too.
  explicit SignalsHeld(std::initializer_list<int> signals) {
    sigemptyset(&held_);
    for (const int signal : signals) {
      struct sigaction action {};
      sigaction(signal, nullptr, &action);
      if (action.sa_handler != SIG_IGN) sigaddset(&held_, signal);
    }
    sigprocmask(SIG_BLOCK, &held_, &masked_before_);
  }
  ~SignalsHeld() { release(); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

  void release() const { sigprocmask(SIG_SETMASK, &masked_before_, nullptr); }

  /// Waits for one of them, and takes it away. Returns which, or -1 if none came.
  int wait(std::chrono::nanoseconds longest) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(longest);
    const timespec time{static_cast<time_t>(seconds.count()), static_cast<long>((longest - seconds).count())};
    return sigtimedwait(&held_, nullptr, &time);
  }

 private:
  sigset_t held_{};
  sigset_t masked_before_{};
};

}  // namespace kelvane_hub
