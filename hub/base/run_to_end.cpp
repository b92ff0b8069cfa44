#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include "hub/base/process.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

/// SIGCHLD is held back and can be waited for, as long as this lives.
class ChildSignal {
 public:
  ChildSignal() {
    sigemptyset(&mask_);
    sigaddset(&mask_, SIGCHLD);
    sigprocmask(SIG_BLOCK, &mask_, &masked_before_);
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;  // where it is ignored, children leave no status
    sigaction(SIGCHLD, &usual, &action_before_);
  }
  ~ChildSignal() {
    sigaction(SIGCHLD, &action_before_, nullptr);
    sigprocmask(SIG_SETMASK, &masked_before_, nullptr);
  }
  ChildSignal(const ChildSignal&) = delete;
  ChildSignal& operator=(const ChildSignal&) = delete;

  void release() const { sigprocmask(SIG_SETMASK, &masked_before_, nullptr); }

  void wait(std::chrono::nanoseconds longest) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(longest);
    const timespec time{static_cast<time_t>(seconds.count()), static_cast<long>((longest - seconds).count())};
    (void)sigtimedwait(&mask_, nullptr, &time);
  }

 private:
  sigset_t mask_{};
  sigset_t masked_before_{};
  struct sigaction action_before_ {};
};

/// Becomes the program. What cannot be done is written to `failure`, as an error number.
[[noreturn]] void become(char* const* words, pid_t parent, const std::array<int, 3>& streams, int failure) {
  (void)setpgid(0, 0);  // so that all that it starts can be ended, too
  bool ready = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
  for (int as = 0; const int stream : streams) ready = ready && dup2(stream, as++) != -1;
  if (ready) (void)execvp(words[0], words);
  const int error = errno;
  (void)!write(failure, &error, sizeof error);
  _exit(1);
}

/// Starts the program; returns 0 or the error number.
int start(std::vector<std::string>& words, const std::array<int, 3>& streams, const ChildSignal& signal,
          pid_t& process) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) == -1) throw std::system_error(errno, std::generic_category(), "a pipe");
  UniqueFd failure(ends[0]);
  UniqueFd failure_in_child(ends[1]);
  const pid_t parent = getpid();
  process = fork();
  if (process == -1) return errno;
  if (process == 0) {
    signal.release();
    become(arguments.data(), parent, streams, failure_in_child.get());
  }
  failure_in_child.reset();
  int error = 0;
  if (read(failure.get(), &error, sizeof error) <= 0) return 0;
  (void)wait_for(process);
  return error;
}

/// The status of `process` when it has ended; none if it had to be killed.
std::optional<int> wait_in_time(pid_t process, const ChildSignal& signal, std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  int status = 0;
  const auto deadline = Clock::now() + patience;
  for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
    if (waitpid(process, &status, WNOHANG) != 0) return status;
    signal.wait(deadline - now);
  }
  (void)kill(-process, SIGKILL);
  (void)waitpid(process, &status, 0);
  return {};
}

}  // namespace

Ended run_to_end(std::vector<std::string> words, const std::array<int, 3>& streams,
                 std::chrono::milliseconds patience) {
  const ChildSignal signal;
  pid_t process = -1;
  if (const int error = start(words, streams, signal, process); error != 0) return {error, {}};
  return {0, wait_in_time(process, signal, patience)};
}

}  // namespace kelvane_hub
