#include "hub/base/child.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace kelvane_hub {
namespace {

// Linux 6.9.
constexpr unsigned to_process_group = 1U << 2;

bool send_kill(int process, unsigned flags) {
  return syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, flags) == 0;
}

}  // namespace

Child::Child(pid_t process) : number_(process) {
  descriptor_ = UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  ended_ = !descriptor_ && errno == ESRCH;
  descriptor_ = beside_standard_streams(std::move(descriptor_));
  siginfo_t found{};
  // Linux 5.3 has the descriptor, but does not wait for it.
  if (descriptor_ && look(found, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == EINVAL) descriptor_.reset();
}

/// As waitid(); found.si_pid is 0 if it runs.
int Child::look(siginfo_t& found, int options) const {
  found.si_pid = 0;
  return descriptor_ ? waitid(P_PIDFD, static_cast<id_t>(descriptor_.get()), &found, options)
                     : waitid(P_PID, static_cast<id_t>(number_), &found, options);
}

bool Child::reap() {
  const std::lock_guard lock(mutex_);
  if (ended_) return true;
  siginfo_t found{};
  const int result = look(found, WEXITED | WNOHANG);
  if (result == 0 && found.si_pid == 0) return false;
  ended_ = true;
  // Or else somebody else has reaped it, or it is not a child of this process: that is a fork of its parent.
  if (result == 0) end_ = found;
  return true;
}

bool Child::wait_for_end(std::chrono::milliseconds longest) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds pause{10};
  const auto deadline = Clock::now() + longest;
  while (!reap()) {
    auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return false;
    if (!descriptor_) left = std::min(left, pause);
    pollfd end{descriptor_.get(), POLLIN, 0};
    (void)poll(&end, 1, static_cast<int>(left.count()));
  }
  return true;
}

void Child::kill() {
  const std::lock_guard lock(mutex_);
  siginfo_t found{};
  // As long as nobody has reaped it, its number, which is its group's, is nobody else's.
  if (ended_ || look(found, WEXITED | WNOHANG | WNOWAIT) != 0) return;
  if (descriptor_ && send_kill(descriptor_.get(), to_process_group)) return;
  (void)::kill(-number_, SIGKILL);
  if (descriptor_) (void)send_kill(descriptor_.get(), 0);
}

std::string Child::how_it_ended() const {
  const std::lock_guard lock(mutex_);
  if (end_.si_pid == 0) return "it ended";
  const std::string number = std::to_string(end_.si_status);
  return end_.si_code == CLD_EXITED ? "it ended with exit status " + number : "it was ended by signal " + number;
}

}  // namespace kelvane_hub
