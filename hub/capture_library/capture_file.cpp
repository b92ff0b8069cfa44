#include "hub/capture_library/capture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <span>
#include <stdexcept>
#include <utility>

#include "hub/base/diagnostic.h"
#include "hub/base/own_file.h"
#include "hub/base/signals_blocked.h"

namespace kelvane_hub {
namespace {

std::chrono::nanoseconds time_of(clockid_t clock) {
  timespec time{};
  (void)clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// Takes away what a write has sent to its own thread: let in again, it would end the client.
void drop_signals_of_writing() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGXFSZ);
  const timespec at_once{};
  while (sigtimedwait(&signals, nullptr, &at_once) > 0) {
  }
}

/// Returns how much was written. If that is not all, errno says why.
std::size_t write_parts(int file, std::span<iovec> parts) {
  std::size_t written = 0;
  while (!parts.empty()) {
    const ssize_t size = writev(file, parts.data(), static_cast<int>(parts.size()));
    if (size < 0) return written;
    written += static_cast<std::size_t>(size);
    auto left = static_cast<std::size_t>(size);
    for (; !parts.empty() && left >= parts.front().iov_len; parts = parts.subspan(1)) left -= parts.front().iov_len;
    if (!parts.empty()) {
      parts.front() = {static_cast<char*>(parts.front().iov_base) + left, parts.front().iov_len - left};
    }
  }
  return written;
}

void cut_off(int file, std::size_t size) {
  const off_t end = lseek(file, 0, SEEK_END);
  if (end >= static_cast<off_t>(size)) (void)!ftruncate(file, end - static_cast<off_t>(size));
}

/// writev() takes what it only reads as what it might change.
template <class Bytes>
iovec part(const Bytes& bytes) {
  return {const_cast<void*>(static_cast<const void*>(bytes.data())), bytes.size()};
}

/// All of `parts`, or nothing. Returns 0 or errno. To be called with signals blocked.
int write_whole(int file, std::span<iovec> parts) {
  std::size_t size = 0;
  for (const iovec& one : parts) size += one.iov_len;
  const std::size_t written = write_parts(file, parts);
  if (written == size) return 0;
  const int error = errno;
  drop_signals_of_writing();
  cut_off(file, written);
  return error;
}

}  // namespace

CaptureFile::CaptureFile(std::string path)
    : path_(std::move(path)), start_of_clock_(time_of(CLOCK_REALTIME) - time_of(CLOCK_BOOTTIME)) {
  const SignalsBlocked signals_blocked;
  try {
    open();
  } catch (const std::runtime_error& error) {
    file_.reset();
    diagnose(capture_speaker, "cannot capture into " + path_ + ": " + error.what());
  }
}

void CaptureFile::open() {
  // Nobody waits for the reader of a pipe.
  constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  file_ = beside_standard_streams(UniqueFd(::open(path_.c_str(), flags, S_IRUSR | S_IWUSR)));
  const Taken taken = file_ ? take_own_file(file_.get()) : Taken::no;
  // Two would mix their sessions.
  if (taken == Taken::another_has_it) throw std::runtime_error("another process captures into it");
  if (taken == Taken::no) throw std::runtime_error(strerror(errno));
  std::array header{part(capture_file_header)};
  if (const int error = write_whole(file_.get(), header); error != 0) throw std::runtime_error(strerror(error));
}

void CaptureFile::number(SessionNumber& session) noexcept {
  if (getpid() != owner_) return;
  const SignalsBlocked signals_blocked;
  const std::lock_guard lock(mutex_);
  if (session.value_ == 0) session.value_ = ++sessions_;
}

void CaptureFile::append(Direction direction, SessionNumber& session, com::tarn::kelvane::suid sensor,
                         std::string_view message) noexcept {
  if (getpid() != owner_) return;
  int error = 0;
  {
    const SignalsBlocked signals_blocked;
    const std::lock_guard lock(mutex_);
    if (session.value_ == 0 && direction == Direction::event) session.value_ = ++sessions_;
    if (!file_ || session.value_ == 0) return;
    const auto header = encode_capture_record({now(), direction, session.value_, sensor}, message.size());
    std::array parts{part(header), part(message.substr(0, captured_size(message.size())))};
    error = write_whole(file_.get(), parts);
    if (error != 0) file_.reset();
  }
  if (error != 0) tell_end(error);
}

std::chrono::nanoseconds CaptureFile::now() const noexcept { return start_of_clock_ + time_of(CLOCK_BOOTTIME); }

void CaptureFile::tell_end(int error) const noexcept try {
  diagnose(capture_speaker, "the capture " + path_ + " ends here: " + strerror(error));
} catch (...) {
  // There is no memory to say it in.
}

}  // namespace kelvane_hub
