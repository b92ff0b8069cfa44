#include "tests/hub/file_calls.h"

#include <linux/fcntl.h>  // and not the library's, which has functions of its own for open()
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <utility>

namespace kelvane_hub {

std::function<int(int)> at_fsync;
bool has_no_unnamed_files = false;

}  // namespace kelvane_hub

extern "C" int fsync(int file) {
  if (const auto instead = std::exchange(kelvane_hub::at_fsync, {})) return instead(file);
  return static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int open(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  constexpr unsigned unnamed = O_TMPFILE;
  const bool is_unnamed = (static_cast<unsigned>(flags) & unnamed) == unnamed;
  const bool has_mode = is_unnamed || (flags & O_CREAT) != 0;
  const unsigned mode = has_mode ? va_arg(rest, unsigned) : 0;
  va_end(rest);
  if (is_unnamed && kelvane_hub::has_no_unnamed_files) {
    errno = EOPNOTSUPP;
    return -1;
  }
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
