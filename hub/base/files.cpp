#include "hub/base/files.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <system_error>
#include <utility>
#include <variant>

#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void throw_error(int error) { throw std::system_error(error, std::generic_category()); }

/// `mode` as for std::fopen.
void write_text(std::string_view text, const fs::path& path, const char* mode) {
  std::FILE* const file = std::fopen(path.c_str(), mode);
  if (file == nullptr) throw_error(errno);
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const int error = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written) throw_error(error);
  if (!closed) throw_error(errno);
}

/// Removes the file at `path`, if there is one, at the end.
struct RemovedAtEnd {
  explicit RemovedAtEnd(fs::path file) : path(std::move(file)) {}
  RemovedAtEnd(const RemovedAtEnd&) = delete;
  RemovedAtEnd& operator=(const RemovedAtEnd&) = delete;
  ~RemovedAtEnd() {
    std::error_code ignored;
    fs::remove(path, ignored);
  }
  fs::path path;
};

void replace_file(std::string_view text, const fs::path& target) {
  // Short whatever the target is called, and of the same folder: a rename stays within a file system.
  const std::string name = ".kelvane-hub-" + std::to_string(std::random_device()());
  const RemovedAtEnd temporary(target.parent_path() / name);
  write_text(text, temporary.path, "wbx");
  if (fs::exists(target)) fs::permissions(temporary.path, fs::status(target).permissions());
  fs::rename(temporary.path, target);
}

/// Without it, a pipe that nobody reads any more ends the process.
class BrokenPipesFail {
 public:
  BrokenPipesFail() : before_(std::signal(SIGPIPE, SIG_IGN)) {}
  BrokenPipesFail(const BrokenPipesFail&) = delete;
  BrokenPipesFail& operator=(const BrokenPipesFail&) = delete;
  ~BrokenPipesFail() { (void)std::signal(SIGPIPE, before_); }

 private:
  void (*before_)(int);
};

void write_all(std::string_view text, int descriptor) {
  const BrokenPipesFail broken_pipes_fail;
  while (!text.empty()) {
    const auto written = write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd ready{descriptor, POLLOUT, 0};
      (void)poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      throw_error(errno);
    }
  }
}

/// The descriptor of this process that `link` stands for, as those behind /dev/stdout and /dev/fd do.
std::optional<int> descriptor_behind(const fs::path& link) {
  const fs::path folder = fs::canonical(link.parent_path() / ".");
  if (folder != "/proc/" + std::to_string(getpid()) + "/fd") return {};
  const std::string name = link.filename();
  int descriptor = -1;
  (void)std::from_chars(name.data(), name.data() + name.size(), descriptor);
  return descriptor;
}

/// Whether `link` stands for an open file of another process.
bool is_open_elsewhere(const fs::path& link) {
  return fs::canonical(link.parent_path() / ".").string().starts_with("/proc/");
}

/// A file to replace.
struct Replaced {
  fs::path path;
};
/// What takes the text as it stands there: a pipe, a device.
struct Opened {};
using Target = std::variant<Replaced, Opened, int>;  // int: a descriptor of this process

Target target_of(fs::path path) {
  const bool is_special = fs::exists(path) && !fs::is_regular_file(path);  // throws if links go round in a circle
  while (fs::is_symlink(path)) {
    if (const auto descriptor = descriptor_behind(path)) return *descriptor;
    if (is_open_elsewhere(path)) return Opened();
    path = path.parent_path() / fs::read_symlink(path);
  }
  if (is_special) return Opened();
  return Replaced{path};
}

}  // namespace

std::string read_file(const fs::path& path) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) throw InputError(path.string() + ": expected a file, found a folder");
  const auto check = [&path](bool succeeded) {
    if (!succeeded) throw InputError(path.string() + ": cannot read it: " + strerror(errno));
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  check(file != nullptr);
  std::string text;
  std::array<char, 65536> block{};
  std::string_view read;
  do {
    read = {block.data(), std::fread(block.data(), 1, block.size(), file.get())};
    check(std::ferror(file.get()) == 0);
    text += read;
  } while (!read.empty() && read.find('\0') == std::string_view::npos);
  return text;
}

void write_file(std::string_view text, const fs::path& path) try {
  const Target target = target_of(path);
  if (const auto* const replaced = std::get_if<Replaced>(&target)) return replace_file(text, replaced->path);
  if (const auto* const descriptor = std::get_if<int>(&target)) return write_all(text, *descriptor);
  write_text(text, path, "ab");
} catch (const std::system_error& error) {
  throw InputError(path.string() + ": " + error.code().message());
}

void write_to_descriptor(std::string_view text, int descriptor, const std::string& name) try {
  write_all(text, descriptor);
} catch (const std::system_error& error) {
  throw InputError(name + ": " + error.code().message());
}

}  // namespace kelvane_hub
