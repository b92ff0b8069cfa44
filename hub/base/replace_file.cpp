#include "hub/base/replace_file.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <system_error>

#include "hub/base/descriptors.h"
#include "hub/base/signals_held.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

void check(bool succeeded) {
  if (!succeeded) throw std::system_error(errno, std::generic_category());
}

/// A name in `folder`: short whatever the target is called, and a rename stays within a file system.
fs::path name_in(const fs::path& folder) { return folder / (".kelvane-hub-" + std::to_string(std::random_device()())); }

/// Removes the file at a path, if it is still there, at the end.
class RemovedAtEnd {
 public:
  explicit RemovedAtEnd(const fs::path& path) : path_(path) {}
  RemovedAtEnd(const RemovedAtEnd&) = delete;
  RemovedAtEnd& operator=(const RemovedAtEnd&) = delete;
  ~RemovedAtEnd() { (void)unlink(path_.c_str()); }

 private:
  const fs::path& path_;
};

class Replacement {
 public:
  Replacement(std::string_view text, const fs::path& target)
      : text_(text), target_(target), folder_(target.has_parent_path() ? target.parent_path() : ".") {
    struct stat old {};
    if (stat(target.c_str(), &old) == 0) old_ = old;
  }

  /// Returns false if files without a name are not to be had here.
  bool put_unnamed() const {
    const UniqueFd file(open(folder_.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, first_mode()));
    if (!file) return false;
    fill(file);
    const std::string source = "/proc/self/fd/" + std::to_string(file.get());
    const auto name = [&source](const fs::path& path) {
      return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
    };
    if (name(target_)) return true;
    if (errno != EEXIST) return false;
    const SignalsHeld held;
    const fs::path temporary = name_in(folder_);
    check(name(temporary));
    const RemovedAtEnd removed(temporary);
    check(std::rename(temporary.c_str(), target_.c_str()) == 0);
    return true;
  }

  void put_named() const {
    const SignalsHeld held;
    const fs::path temporary = name_in(folder_);
    const UniqueFd file(open(temporary.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, first_mode()));
    check(bool(file));
    const RemovedAtEnd removed(temporary);
    fill(file);
    check(std::rename(temporary.c_str(), target_.c_str()) == 0);
  }

  /// A name, too, is to outlive a loss of power.
  void keep_name() const {
    const UniqueFd folder(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) (void)fsync(folder.get());
  }

 private:
  /// Nobody else can read what replaces a file, before it has that file's permissions.
  mode_t first_mode() const { return old_ ? S_IRUSR | S_IWUSR : DEFFILEMODE; }

  void fill(const UniqueFd& file) const {
    if (old_) take_over(file, *old_);
    write_all(text_, file.get());
    check(fsync(file.get()) == 0 || errno == EINVAL);  // some file systems have nothing to do for it
  }

  void take_over(const UniqueFd& file, const struct stat& old) const {
    constexpr auto same_owner = static_cast<uid_t>(-1);
    mode_t mode = old.st_mode & ACCESSPERMS;
    const bool has_group =
        fchown(file.get(), old.st_uid, old.st_gid) == 0 || fchown(file.get(), same_owner, old.st_gid) == 0;
    // What the old group may is not for another: to that, they are all the same. Where a file has an access control
    // list, these bits are the most that anybody on it may, be it more than the group may.
    if (!take_over_access_list(file) || !has_group)
      mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & S_IRWXO) << 3U;
    check(fchmod(file.get(), mode) == 0);
  }

  /// Where the old file has none, the new one may have inherited one from the folder. Returns whether they are alike.
  bool take_over_access_list(const UniqueFd& file) const {
    constexpr const char* attribute = "system.posix_acl_access";
    std::array<char, XATTR_SIZE_MAX> list;
    const ssize_t size = getxattr(target_.c_str(), attribute, list.data(), list.size());
    if (size >= 0) return fsetxattr(file.get(), attribute, list.data(), static_cast<std::size_t>(size), 0) == 0;
    if (errno == ENODATA && fremovexattr(file.get(), attribute) == 0) return true;
    return errno == ENODATA || errno == EOPNOTSUPP;
  }

  std::string_view text_;
  const fs::path& target_;
  fs::path folder_;
  std::optional<struct stat> old_;
};

}  // namespace

void replace_file(std::string_view text, const fs::path& target) {
  const Replacement replacement(text, target);
  if (!replacement.put_unnamed()) replacement.put_named();
  replacement.keep_name();
}

}  // namespace kelvane_hub
