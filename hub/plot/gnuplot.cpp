#include "hub/plot/gnuplot.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <system_error>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

/// A file in memory: nothing to clean up, and no pipe that fills.
UniqueFd memory_file(const char* name) {
  UniqueFd file(memfd_create(name, MFD_CLOEXEC));
  if (!file) throw std::system_error(errno, std::generic_category(), "a file in memory");
  return file;
}

void write_all(const UniqueFd& file, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t more = write(file.get(), text.data() + written, text.size() - written);
    if (more == -1) throw std::system_error(errno, std::generic_category(), "a file in memory");
    written += static_cast<std::size_t>(more);
  }
  (void)lseek(file.get(), 0, SEEK_SET);
}

std::string read_all(const UniqueFd& file) {
  std::string text;
  std::array<char, 65536> buffer;
  ssize_t size = 0;
  (void)lseek(file.get(), 0, SEEK_SET);
  while ((size = read(file.get(), buffer.data(), buffer.size())) > 0)
    text.append(buffer.data(), static_cast<std::size_t>(size));
  return text;
}

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

/// Becomes gnuplot. What cannot be done is written to `failure`, as an error number.
[[noreturn]] void become_gnuplot(pid_t parent, const std::array<int, 3>& streams, int failure) {
  (void)setpgid(0, 0);  // so that all that it starts can be ended, too
  bool ready = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
  for (int as = 0; const int stream : streams) ready = ready && dup2(stream, as++) != -1;
  // Without the user's start-up files.
  if (ready) (void)execlp("gnuplot", "gnuplot", "-d", static_cast<char*>(nullptr));
  const int error = errno;
  (void)!write(failure, &error, sizeof error);
  _exit(1);
}

/// Starts gnuplot on these streams; throws InputError if it cannot.
pid_t start(const std::array<int, 3>& streams, const ChildSignal& signal) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) == -1) throw std::system_error(errno, std::generic_category(), "a pipe");
  UniqueFd failure(ends[0]);
  UniqueFd failure_in_child(ends[1]);
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process == -1) throw InputError(std::string("plot: cannot start gnuplot: ") + strerror(errno));
  if (process == 0) {
    signal.release();
    become_gnuplot(parent, streams, failure_in_child.get());
  }
  failure_in_child.reset();
  int error = 0;
  if (read(failure.get(), &error, sizeof error) <= 0) return process;
  (void)waitpid(process, nullptr, 0);
  if (error == ENOENT) throw InputError("plot: expected gnuplot in PATH, found none; the package gnuplot-nox has it");
  throw InputError(std::string("plot: cannot start gnuplot: ") + strerror(error));
}

/// The status of `process` when it has ended; none if it had to be killed.
std::optional<int> wait_for(pid_t process, const ChildSignal& signal, std::chrono::milliseconds patience) {
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

std::string without_blank_ends(const std::string& text) {
  const auto begin = text.find_first_not_of(" \n");
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

/// What is said of a gnuplot that has `said` what it could not do.
std::string failure(const std::string& said) {
  if (said.find("unknown or ambiguous terminal") == std::string::npos) return "plot: gnuplot failed: " + said;
  return "plot: expected a gnuplot with the terminals svg, pngcairo and pdfcairo, found one without this one; the "
         "package "
         "gnuplot-nox has one with all";
}

}  // namespace

std::string run_gnuplot(const std::string& script, std::chrono::milliseconds patience) {
  const UniqueFd in = memory_file("script");
  const UniqueFd out = memory_file("picture");
  const UniqueFd errors = memory_file("errors");
  write_all(in, script);
  const ChildSignal signal;
  const pid_t process = start({in.get(), out.get(), errors.get()}, signal);
  const auto status = wait_for(process, signal, patience);
  if (!status) {
    const auto seconds = std::chrono::duration<double>(patience).count();
    throw InputError(concat("plot: gnuplot has not drawn anything after ", seconds, " seconds, and was stopped"));
  }
  if (*status != 0) throw InputError(failure(without_blank_ends(read_all(errors))));
  return read_all(out);
}

}  // namespace kelvane_hub
