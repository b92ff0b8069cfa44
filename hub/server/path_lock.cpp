#include "hub/server/path_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

/// Throws if the file is there and is another user's: whoever can open it can keep it locked.
void expect_own(const std::string& name) {
  struct stat found {};
  const uid_t own = geteuid();
  if (lstat(name.c_str(), &found) != 0 || found.st_uid == own) return;
  throw InputError(name + ": expected no file or one of user " + std::to_string(own) + ", found one of user " +
                   std::to_string(found.st_uid));
}

bool is_at(const std::string& name, int file) {
  struct stat opened {};
  struct stat found {};
  return fstat(file, &opened) == 0 && lstat(name.c_str(), &found) == 0 && opened.st_dev == found.st_dev &&
         opened.st_ino == found.st_ino;
}

}  // namespace

PathLock::PathLock(const std::string& path) : name_(path + ".lock") {
  constexpr int most_tries = 500;
  constexpr timespec pause{0, 10'000'000};
  for (int tries = 0; !acquire(path); ++tries) {
    if (tries == most_tries) throw InputError(name_ + ": another program keeps the lock for " + path);
    (void)nanosleep(&pause, nullptr);
  }
}

PathLock::~PathLock() {
  // While it is locked: whoever has opened it meanwhile finds that it is not there any more.
  (void)unlink(name_.c_str());
}

bool PathLock::acquire(const std::string& path) {
  expect_own(name_);
  constexpr mode_t for_its_owner = S_IRUSR | S_IWUSR;
  file_ = UniqueFd(open(name_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, for_its_owner));
  if (!file_) throw InputError(name_ + ": cannot make the lock for " + path + ": " + strerror(errno));
  // A file system without locks does without.
  if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EINTR)) return false;
  if (!is_at(name_, file_.get())) return false;
  expect_own(name_);
  return true;
}

}  // namespace kelvane_hub
