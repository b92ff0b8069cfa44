#pragma once

#include <pthread.h>

#include <csignal>
#include <thread>
#include <utility>

namespace kelvane_hub {

/// Blocks all signals on the calling thread while it lives.
///
/// Whoever takes a lock in a library of the client's does so with signals blocked: a signal handler may close the
/// session that the interrupted thread is using, and would otherwise wait for a lock that its own thread holds. A
/// thread started meanwhile keeps them blocked for good.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  /// What was blocked before, for a wait that signals may interrupt.
  const sigset_t& before() const { return before_; }

 private:
  sigset_t before_{};
};

/// Starts a thread that no signal is ever delivered to.
template <class Function>
std::thread thread_without_signals(Function run) {
  const SignalsBlocked signals_blocked;
  return std::thread(std::move(run));
}

}  // namespace kelvane_hub
