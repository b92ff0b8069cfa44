#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "hub/base/process.h"
#include "hub/base/signals_held.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

/// Children leave a status while this lives, as they do not where SIGCHLD is ignored.
class ChildrenLeaveStatus {
 public:
  ChildrenLeaveStatus() {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &usual, &action_before_);
  }
  ~ChildrenLeaveStatus() { sigaction(SIGCHLD, &action_before_, nullptr); }
  ChildrenLeaveStatus(const ChildrenLeaveStatus&) = delete;
  ChildrenLeaveStatus& operator=(const ChildrenLeaveStatus&) = delete;

 private:
  struct sigaction action_before_ {};
};

/// Nothing is left of a program that makes a longer file: no memory image either.
bool limit_files(std::size_t most_bytes) {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, most_bytes);
  const rlimit none{};
  (void)std::signal(SIGXFSZ, SIG_DFL);
  return setrlimit(RLIMIT_FSIZE, &limit) == 0 && setrlimit(RLIMIT_CORE, &none) == 0;
}

/// What a program is run with.
struct Surroundings {
  std::array<int, 3> streams;
  std::size_t most_bytes;  // in a file
};

/// Becomes the program. What cannot be done is written to `failure`, as an error number.
[[noreturn]] void become(char* const* words, pid_t parent, const Surroundings& with, int failure) {
  (void)setpgid(0, 0);  // so that all that it starts can be ended, too
  bool ready = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
  ready = ready && limit_files(with.most_bytes);
  for (int as = 0; const int stream : with.streams) ready = ready && dup2(stream, as++) != -1;
  if (ready) (void)execvp(words[0], words);
  const int error = errno;
  (void)!write(failure, &error, sizeof error);
  _exit(1);
}

/// Starts the program; returns 0 or the error number.
int start(std::vector<std::string>& words, const Surroundings& with, const SignalsHeld& signals, pid_t& process) {
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
    signals.release();
    become(arguments.data(), parent, with, failure_in_child.get());
  }
  failure_in_child.reset();
  int error = 0;
  if (read(failure.get(), &error, sizeof error) <= 0) return 0;
  (void)wait_for(process);
  return error;
}

/// Whether the child has ended; it is still to be waited for.
bool has_ended(pid_t child) {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == -1 || info.si_pid != 0;
}

/// The status of `process` when it has ended; none if it had to be killed. A signal that is to end this process ends
/// both.
std::optional<int> wait_in_time(pid_t process, const SignalsHeld& signals, std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + patience;
  int ending = 0;
  bool ended = false;
  for (auto now = Clock::now(); !(ended = has_ended(process)) && ending == 0 && now < deadline; now = Clock::now()) {
    const int signal = signals.wait(deadline - now);
    if (signal > 0 && signal != SIGCHLD) ending = signal;
  }
  (void)kill(-process, SIGKILL);  // what it has started, too
  const int status = wait_for(process);
  if (ending != 0) (void)raise(ending);  // takes effect when signals are held no longer
  return ended ? std::optional(status) : std::nullopt;
}

}  // namespace

Ended run_to_end(std::vector<std::string> words, const std::array<int, 3>& streams, std::chrono::milliseconds patience,
                 std::size_t most_bytes) {
  const ChildrenLeaveStatus children_leave_status;
  const SignalsHeld signals({SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM});
  pid_t process = -1;
  if (const int error = start(words, {streams, most_bytes}, signals, process); error != 0) return {error, {}};
  return {0, wait_in_time(process, signals, patience)};
}

}  // namespace kelvane_hub
