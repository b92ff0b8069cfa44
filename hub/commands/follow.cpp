// report --follow.

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/base/unique_fd.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/report/run_follower.h"
#include "hub/report/run_times.h"
#include "hub/report/run_writer.h"

namespace kelvane_hub {
namespace {

// A file does not tell when it grows, on some file systems not even to inotify.
constexpr int poll_milliseconds = 200;

/// A descriptor that is readable when SIGINT has come, which has no other effect any more.
UniqueFd hold_sigint() {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGINT);
  sigprocmask(SIG_BLOCK, &held, nullptr);
  return UniqueFd(signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK));
}

[[noreturn]] void fail_to_read(const std::string& input) {
  throw InputError(concat(name_of_input(input), ": cannot read it: ", std::strerror(errno)));
}

/// A file that may be written to, shortened or replaced meanwhile; or a pipe.
class GrowingFile {
 public:
  explicit GrowingFile(std::string input) : input_(std::move(input)) {
    if (!open()) fail_to_read(input_);
  }

  bool is_file() const { return S_ISREG(status_.st_mode); }
  int descriptor() const { return fd_.get(); }

  /// What comes next, a piece of it; nothing at the end.
  std::string read() {
    std::array<char, 65536> bytes{};
    const ssize_t count = ::read(fd_.get(), bytes.data(), bytes.size());
    if (count < 0) fail_to_read(input_);
    position_ += count;
    return {bytes.data(), static_cast<std::size_t>(count)};
  }

  /// Whether another file bears its name by now.
  bool is_replaced() const {
    struct stat now {};
    return input_ != "-" && stat(input_.c_str(), &now) == 0 &&
           (now.st_ino != status_.st_ino || now.st_dev != status_.st_dev);
  }

  /// At the end: whether it begins anew, and why, for a message; null if it does not.
  const char* begin_anew() {
    if (is_replaced()) return open() ? "the file was replaced; what follows is of the new one" : nullptr;
    struct stat now {};
    if (fstat(fd_.get(), &now) != 0 || now.st_size >= position_) return nullptr;
    position_ = lseek(fd_.get(), 0, SEEK_SET);
    return "the file was truncated; what follows is read from its beginning";
  }

 private:
  bool open() {
    UniqueFd opened(input_ == "-" ? dup(STDIN_FILENO) : ::open(input_.c_str(), O_RDONLY | O_CLOEXEC));
    if (opened.get() < 0 || fstat(opened.get(), &status_) != 0) return false;
    fd_ = std::move(opened);
    position_ = 0;
    // Standard input goes on from where it stands.
    if (input_ == "-" && is_file()) position_ = lseek(fd_.get(), 0, SEEK_CUR);
    return true;
  }

  std::string input_;
  UniqueFd fd_;
  struct stat status_ {};
  off_t position_ = 0;
};

/// Writes events as they come. Each is dated by its own log time alone, so that what is said of it does not depend on
/// when the file was looked at.
class EventWriter {
 public:
  explicit EventWriter(const std::string& format) : is_csv_(format == "csv") {
    if (is_csv_) write_output(to_csv({}, {}), "-");
  }

  void write(Run run) {
    std::string text;
    for (RunEvent& event : run.events) {
      Run alone;
      alone.events.push_back(std::move(event));
      const RunTimes times = times_of(alone);
      const std::string rows = is_csv_ ? to_csv(alone, times) : to_json(alone, times);
      text += is_csv_ ? rows.substr(rows.find('\n') + 1) : rows;
    }
    if (!text.empty()) write_output(text, "-");
  }

 private:
  bool is_csv_;
};

class Following {
 public:
  explicit Following(const ReportOptions& options)
      : name_(name_of_input(options.file)), file_(options.file), run_(name_), writer_(options.format) {}

  void go_on_until(const UniqueFd& sigint) {
    bool is_interrupted = false;
    bool is_at_end = false;
    while (!is_at_end && !is_interrupted) {
      is_interrupted = wait(sigint);
      if (!is_interrupted || file_.is_file()) is_at_end = take_all();
    }
    tell_unfinished();
  }

 private:
  /// For more, or what may be more. Returns whether SIGINT has come. Throws InputError if nobody reads what is written.
  bool wait(const UniqueFd& sigint) const {
    pollfd waited[] = {
        {sigint.get(), POLLIN, 0}, {file_.is_file() ? -1 : file_.descriptor(), POLLIN, 0}, {output_, 0, 0}};
    // The first look is at once.
    const int patience = !file_.is_file() ? -1 : is_first_look_ ? 0 : poll_milliseconds;
    is_first_look_ = false;
    if (poll(waited, std::size(waited), patience) <= 0) return false;
    const auto& [interrupt, input, output] = waited;
    // What has come may be the end, with nothing to be written.
    const bool is_idle = interrupt.revents == 0 && input.revents == 0;
    if (is_idle && output.revents != 0) tell_unread_output();
    return interrupt.revents != 0;
  }

  /// Returns whether nothing more can come.
  bool take_all() {
    for (bool is_read_after_replacement = false;;) {
      const std::string bytes = file_.read();
      if (bytes.empty() && !file_.is_file()) return true;
      if (!bytes.empty()) take(bytes);
      // The next piece of a pipe may be long in coming.
      if (!file_.is_file()) return false;
      if (!bytes.empty()) continue;
      // It may have grown between the last read and its replacement.
      if (!is_read_after_replacement && file_.is_replaced()) {
        is_read_after_replacement = true;
        continue;
      }
      is_read_after_replacement = false;
      const char* const why = file_.begin_anew();
      if (why == nullptr) return false;
      tell_unfinished();
      (void)std::fprintf(stderr, "%s: %s\n", name_.c_str(), why);
      run_ = RunFollower(name_);
    }
  }

  void take(std::string_view bytes) {
    Run run = run_.take(bytes);
    believe_and_tell(run, name_);
    writer_.write(std::move(run));
  }

  void tell_unfinished() const {
    if (run_.unfinished() != 0) tell_cut_off(name_, run_.unfinished());
  }

  std::string name_;
  GrowingFile file_;
  RunFollower run_;
  EventWriter writer_;
  int output_ = watched_output();
  mutable bool is_first_look_ = true;
};

}  // namespace

void follow(const ReportOptions& options) {
  refuse_same_file(options.file, "-", "the run");
  const UniqueFd sigint = hold_sigint();
  Following(options).go_on_until(sigint);
}

}  // namespace kelvane_hub
