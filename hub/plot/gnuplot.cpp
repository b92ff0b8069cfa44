#include "hub/plot/gnuplot.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "hub/input_error.h"
#include "hub/unique_fd.h"

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

/// The standard streams of the program to start.
class Streams {
 public:
  Streams(const UniqueFd& in, const UniqueFd& out, const UniqueFd& error) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_adddup2(&actions_, in.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, out.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, error.get(), STDERR_FILENO);
  }
  ~Streams() { posix_spawn_file_actions_destroy(&actions_); }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

int wait_for(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
}

}  // namespace

std::string run_gnuplot(const std::string& script) {
  const UniqueFd in = memory_file("script");
  const UniqueFd out = memory_file("picture");
  const UniqueFd errors = memory_file("errors");
  write_all(in, script);
  const Streams streams(in, out, errors);
  std::string name = "gnuplot";
  std::string without_startup_files = "-d";
  std::array<char*, 3> arguments{name.data(), without_startup_files.data(), nullptr};
  pid_t process = -1;
  const int error = posix_spawnp(&process, name.c_str(), streams.get(), nullptr, arguments.data(), environ);
  if (error == ENOENT) throw InputError("plot: expected gnuplot in PATH, found none; the package gnuplot-nox has it");
  if (error != 0) throw InputError(std::string("plot: cannot start gnuplot: ") + strerror(error));
  if (wait_for(process) != 0) throw InputError("plot: gnuplot failed: " + read_all(errors));
  return read_all(out);
}

}  // namespace kelvane_hub
