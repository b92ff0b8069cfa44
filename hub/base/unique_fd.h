#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace kelvane_hub {

/// Owns a file descriptor; -1 stands for none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ != -1; }
  /// Leaves it open for whoever closes it from now on.
  int release() { return std::exchange(fd_, -1); }
  void reset() {
    if (fd_ != -1) ::close(std::exchange(fd_, -1));
  }

 private:
  int fd_ = -1;
};

/// The same by a number above those of the standard streams. Where one of them is closed, its number is given to the
/// next file that is opened, and whatever is printed would go there.
inline UniqueFd beside_standard_streams(UniqueFd file) {
  constexpr int first_free = 3;
  if (file.get() >= first_free || file.get() < 0) return file;
  return UniqueFd(fcntl(file.get(), F_DUPFD_CLOEXEC, first_free));
}

}  // namespace kelvane_hub
