#include "hub/base/files.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <system_error>
#include <utility>

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

/// Whether `link` stands for an open file of a process, as that behind /dev/stdout does.
bool is_open_file(const fs::path& link) {
  return fs::canonical(link.parent_path() / ".").string().starts_with("/proc/");
}

/// The file to replace; empty if the text has to go into what stands at `path`.
std::optional<fs::path> replaceable(fs::path path) {
  if (fs::exists(path) && !fs::is_regular_file(path)) return {};
  while (fs::is_symlink(path)) {
    if (is_open_file(path)) return {};
    path = path.parent_path() / fs::read_symlink(path);
  }
  return path;
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
  if (const auto target = replaceable(path)) {
    replace_file(text, *target);
  } else {
    write_text(text, path, "ab");
  }
} catch (const std::system_error& error) {
  throw InputError(path.string() + ": " + error.code().message());
}

}  // namespace kelvane_hub
