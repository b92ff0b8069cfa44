#include "hub/capture/capture_log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

constexpr std::size_t most_waiting = std::size_t{64} << 20;  // bytes
constexpr std::chrono::seconds patience(1);

[[noreturn]] void throw_errno() { throw std::system_error(errno, std::generic_category()); }

UniqueFd open_for_one(const std::string& path) {
  // Not to wait for a reader of a pipe.
  UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file && errno == ENXIO) throw InputError(path + ": expected a pipe that somebody reads, found one without");
  if (!file) throw_errno();
  struct stat status {};
  if (fstat(file.get(), &status) != 0) throw_errno();
  if (S_ISREG(status.st_mode)) {
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
      throw InputError(path + ": expected a file of its own, found one that another hub writes");
    }
    if (ftruncate(file.get(), 0) != 0) throw_errno();
  }
  (void)fcntl(file.get(), F_SETFL, O_WRONLY);
  return file;
}

std::string are_missing(std::uint64_t count) {
  return concat(count, count == 1 ? " message is not in it" : " messages are not in it");
}

void block_signals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

/// What whoever is told and the thread share.
class CaptureLog::Writer {
 public:
  Writer(std::string path, Say say)
      : path_(std::move(path)), say_(std::move(say)), file_(beside_standard_streams(open_for_one(path_))) {}

  void add(const Heard& message) {
    const std::lock_guard lock(mutex_);
    if (has_failed_) return;
    if (waiting_ != 0 && waiting_ + message->message.size() > most_waiting) {
      ++left_out_;
      return;
    }
    waiting_ += message->message.size();
    queue_.push_back(message);
    changed_.notify_all();
  }

  /// On its thread, until end() and all is written.
  void run() {
    block_signals();
    std::unique_lock lock(mutex_);
    while (!has_failed_) {
      changed_.wait(lock, [this] { return !queue_.empty() || is_ending_; });
      if (queue_.empty()) break;
      write_first(lock);
    }
    has_ended_ = true;
    changed_.notify_all();
  }

  /// Returns whether run() has come to its end.
  bool end() {
    std::unique_lock lock(mutex_);
    is_ending_ = true;
    changed_.notify_all();
    for (std::uint64_t seen = written_;; seen = written_) {
      (void)changed_.wait_for(lock, patience, [&] { return has_ended_ || written_ != seen; });
      if (has_ended_) return true;
      if (written_ != seen) continue;
      say(concat(path_, ": takes no more; ", are_missing(queue_.size() + left_out_)));
      say_ = nullptr;  // whoever hears it may not be there any more
      return false;
    }
  }

 private:
  void say(const std::string& line) const {
    if (say_) say_(line);
  }

  void write_first(std::unique_lock<std::mutex>& lock) {
    // Only this thread takes any.
    const Heard message = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    std::string error;
    try {
      file_.write(*message);
    } catch (const std::system_error& thrown) {
      error = thrown.code().message();
    }
    lock.lock();
    ++written_;
    waiting_ -= message->message.size();
    if (!error.empty()) {
      has_failed_ = true;
      queue_.clear();
      say(concat(path_, ": ", error, "; the capture ends there"));
    } else if (queue_.empty() && left_out_ != 0) {
      say(concat(path_, ": ", are_missing(std::exchange(left_out_, 0)), ": it takes them too slowly"));
    }
    changed_.notify_all();
  }

  const std::string path_;
  Say say_;
  CaptureWriter file_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Heard> queue_;
  std::size_t waiting_ = 0;     // bytes
  std::uint64_t written_ = 0;   // messages
  std::uint64_t left_out_ = 0;  // of which nothing has been said
  bool has_failed_ = false;
  bool is_ending_ = false;
  bool has_ended_ = false;
};

CaptureLog::CaptureLog(const std::string& path, Say say) try
    : writer_(std::make_shared<Writer>(path, std::move(say))), thread_([writer = writer_] { writer->run(); }) {
} catch (const std::system_error& error) {
  throw InputError(concat(path, ": cannot write it: ", error.code().message()));
}

CaptureLog::~CaptureLog() {
  if (writer_->end()) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

void CaptureLog::hear(const Heard& message) {
  ++heard_;
  writer_->add(message);
}

}  // namespace kelvane_hub
