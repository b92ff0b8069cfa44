#include "hub/session_library/patience.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace kelvane_hub {
namespace {

/// Whether it would end the process by default, and that is what is to happen.
bool is_fatal(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

}  // namespace

Patience::Patience(std::chrono::seconds longest) : blocked_in_wait_(signals_blocked_.before()), longest_(longest) {
  sigset_t fatal;
  sigemptyset(&fatal);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    if (sigismember(&blocked_in_wait_, signal) == 1 || !is_fatal(signal)) continue;
    sigaddset(&fatal, signal);
    sigaddset(&blocked_in_wait_, signal);
  }
  fatal_signals_ = beside_standard_streams(UniqueFd(signalfd(-1, &fatal, SFD_CLOEXEC)));
}

void Patience::wait(int socket, std::chrono::milliseconds pause, const std::string& missed) {
  constexpr std::chrono::seconds once_interrupted{1};
  const auto now = Clock::now();
  if (now >= end_) {
    throw std::runtime_error(missed + (interrupted_ ? " before a signal interrupted the wait"
                                                    : " within " + std::to_string(longest_.count()) + " seconds"));
  }
  const auto left = std::min<std::chrono::nanoseconds>(end_ - now, pause);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  const timespec time{seconds.count(), (left - seconds).count()};
  std::array<pollfd, 2> inputs{pollfd{socket, POLLIN, 0}, pollfd{fatal_signals_.get(), POLLIN, 0}};
  const bool handled = ppoll(inputs.data(), inputs.size(), &time, &blocked_in_wait_) == -1 && errno == EINTR;
  const bool fatal = !handled && inputs.back().revents != 0;
  if (!handled && !fatal) return;
  interrupted_ = true;
  end_ = std::min(end_, Clock::now() + (fatal ? std::chrono::seconds(0) : once_interrupted));
}

}  // namespace kelvane_hub
