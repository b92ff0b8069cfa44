// The file of a capture, as it is written while the client runs.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "hub/base/unique_fd.h"
#include "hub/wire/capture_format.h"

namespace kelvane_hub {

/// Who speaks on standard error.
inline constexpr std::string_view capture_speaker = "libkelvanecapture";

/// The number of a session in a capture; 0 until it is opened. Its CaptureFile alone reads and writes it.
class SessionNumber {
  friend class CaptureFile;
  std::uint32_t value_ = 0;
};

/// Writes each record at once and in one piece, in order of time: however the client ends, the file is whole.
///
/// A file that cannot be written is no failure of the client's: that is said once on standard error, a record that has
/// no room is cut off, and the capture ends there. Only the process that made the object writes, no fork of it. Any
/// thread; none waits for anything but the file. Signals wait meanwhile, because their handler may close the session.
class CaptureFile {
 public:
  /// Empties or makes the file at `path`, unless another process captures into it. Throws std::bad_alloc.
  explicit CaptureFile(std::string path);

  /// The session is open now: it gets its number, if it has none.
  void number(SessionNumber& session) noexcept;

  /// Appends one message. An event opens its session, if it comes before open() has returned; a request of a session
  /// that is not open goes nowhere, and is left out.
  void append(Direction direction, SessionNumber& session, com::tarn::kelvane::suid sensor,
              std::string_view message) noexcept;

 private:
  void open();
  void tell_end(int error) const noexcept;
  std::chrono::nanoseconds now() const noexcept;

  const std::string path_;
  const pid_t owner_ = getpid();
  // Times follow a clock that nobody sets, from one look at the wall's on.
  std::chrono::nanoseconds start_of_clock_{};
  std::mutex mutex_;
  UniqueFd file_;
  std::uint32_t sessions_ = 0;
};

}  // namespace kelvane_hub
