// Files that are written while the program is ended, or while the disk fails.

#include "hub/base/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "hub/base/input_error.h"
#include "hub/base/process.h"
#include "tests/hub/file_calls.h"
#include "tests/temporary_folder.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

/// Its parameter says whether the file system has files without a name.
class WrittenFile : public testing::TestWithParam<bool> {
 protected:
  WrittenFile() {
    has_no_unnamed_files = !GetParam();
    umask_ = umask(022);
  }
  ~WrittenFile() override {
    has_no_unnamed_files = false;
    at_fsync = {};
    umask(umask_);
  }

  void make_old(mode_t mode) const {
    std::ofstream(target_) << "old";
    chmod(target_.c_str(), mode);
  }

  /// As waitpid() has it: what comes of a process that writes, and does `action` before its file is on the disk.
  int status_of_writer(const std::function<void()>& action) const {
    const pid_t child = fork();
    if (child != 0) return wait_for(child);
    at_fsync = [&action](int) { return action(), 0; };
    try {
      write_file("new", target_);
      _exit(0);
    } catch (const std::exception&) {
      _exit(1);
    }
  }

  auto count_files() const { return std::distance(fs::directory_iterator(folder_), {}); }

  const cellscope::test::TemporaryFolder temporary_;
  const fs::path& folder_ = temporary_.path();
  const fs::path target_ = folder_ / "target";
  mode_t umask_;
};

INSTANTIATE_TEST_SUITE_P(FileSystems, WrittenFile, testing::Bool());

TEST_P(WrittenFile, ASignalLeavesNothingHalfDone) {
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGKILL}) {
    if (signal == SIGKILL && has_no_unnamed_files) continue;
    make_old(0644);
    const int status = status_of_writer([signal] { (void)raise(signal); });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << " " << status;
    EXPECT_EQ(count_files(), 1) << signal;
    // A name that it has for a moment is its own at the end, so that a signal may come late.
    EXPECT_TRUE(read_file(target_) == "old" || has_no_unnamed_files) << signal;
  }
}

TEST_P(WrittenFile, ReadableForNobodyMoreThanTheOldOne) {
  make_old(0640);
  mode_t mode = 0;
  at_fsync = [&mode](int file) {
    struct stat status {};
    fstat(file, &status);
    mode = status.st_mode & ACCESSPERMS;
    return 0;
  };
  write_file("new", target_);
  EXPECT_EQ(mode, 0640U);
  EXPECT_EQ(read_file(target_), "new");
  EXPECT_EQ(fs::status(target_).permissions(), fs::perms(0640));
  write_file("new", folder_ / "another");
  EXPECT_EQ(fs::status(folder_ / "another").permissions(), fs::perms(0644));
  EXPECT_EQ(count_files(), 2);
}

TEST_P(WrittenFile, HasTheOldOnesAccessControlList) {
  // As linux/posix_acl_xattr.h has it: a version, then what each may. Somebody besides the owner may read, the group
  // not.
  const struct {
    std::uint32_t version = 2;
    struct {
      std::uint16_t who, may;
      std::uint32_t id;
    } entries[5] = {{1, 6, ~0U}, {2, 4, getuid()}, {4, 0, ~0U}, {16, 4, ~0U}, {32, 0, ~0U}};
  } list;
  const std::string_view bytes(reinterpret_cast<const char*>(&list), sizeof list);
  for (const bool in_folder : {false, true}) {
    make_old(0640);
    const char* attribute = in_folder ? "system.posix_acl_default" : "system.posix_acl_access";
    if (setxattr((in_folder ? folder_ : target_).c_str(), attribute, bytes.data(), bytes.size(), 0) != 0) {
      GTEST_SKIP() << "no access control lists here";
    }
    write_file("new", target_);
    std::string found(2 * bytes.size(), '\0');
    const ssize_t size = getxattr(target_.c_str(), "system.posix_acl_access", found.data(), found.size());
    EXPECT_EQ(found.substr(0, size < 0 ? 0 : static_cast<std::size_t>(size)), in_folder ? "" : bytes);
    EXPECT_EQ(fs::status(target_).permissions(), fs::perms(0640));
    fs::remove(target_);
  }
}

TEST_P(WrittenFile, WhatTheDiskRefusesIsAnError) {
  make_old(0644);
  at_fsync = [](int) { return errno = EIO, -1; };
  try {
    write_file("new", target_);
    ADD_FAILURE() << "no error";
  } catch (const InputError& error) {
    EXPECT_EQ(error.what(), target_.string() + ": Input/output error");
  }
  EXPECT_EQ(read_file(target_), "old");
  EXPECT_EQ(count_files(), 1);
}

TEST_P(WrittenFile, AnotherWriterMayComeFirst) {
  at_fsync = [this](int) { return make_old(0644), 0; };
  write_file("new", target_);
  EXPECT_EQ(read_file(target_), "new");
  EXPECT_EQ(count_files(), 1);
}

}  // namespace
}  // namespace kelvane_hub
