#include "hub/base/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <system_error>
#include <variant>

#include "hub/base/concat.h"
#include "hub/base/descriptors.h"
#include "hub/base/input_error.h"
#include "hub/base/replace_file.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

/// Into what takes the text as it stands there: a pipe, a device.
void write_into(std::string_view text, const fs::path& path) {
  const UniqueFd file(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  if (!file) throw std::system_error(errno, std::generic_category());
  write_all(text, file.get());
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

/// Throws InputError if there is a NUL from `begin` on.
void refuse_nul(std::string_view text, std::size_t begin, const std::string& name) {
  const auto found = text.find('\0', begin);
  if (found == std::string_view::npos) return;
  const auto before = text.substr(0, found);
  const auto line = 1 + std::ranges::count(before, '\n');
  const auto column = found - (before.rfind('\n') + 1) + 1;  // without a line before, npos + 1 is 0
  throw InputError(concat(name, ":", line, ":", column, ": expected text, found a NUL byte"));
}

/// All that `descriptor` has; -1: its file could not be opened, for the reason in errno.
std::string read_text(int descriptor, const std::string& name, const IsBinary& is_binary) try {
  if (descriptor == -1) throw std::system_error(errno, std::generic_category());
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    throw InputError(name + ": expected a file, found a folder");
  }
  std::string text;
  for (std::size_t read = 0; read_more(text, descriptor); read = text.size()) {
    if (!is_binary || !is_binary(text)) refuse_nul(text, read, name);
  }
  return text;
} catch (const std::system_error& error) {
  throw InputError(name + ": cannot read it: " + error.code().message());
}

std::string read_input_file(const fs::path& path, const IsBinary& is_binary) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return read_text(file.get(), path.string(), is_binary);
}

}  // namespace

std::string read_file(const fs::path& path) { return read_input_file(path, {}); }

std::string name_of_input(const std::string& input) { return input == "-" ? "standard input" : input; }

std::string read_input(const std::string& input, const IsBinary& is_binary) {
  if (input == "-") return read_text(STDIN_FILENO, name_of_input(input), is_binary);
  return read_input_file(input, is_binary);
}

void write_file(std::string_view text, const fs::path& path) try {
  const Target target = target_of(path);
  if (const auto* const replaced = std::get_if<Replaced>(&target)) return replace_file(text, replaced->path);
  if (const auto* const descriptor = std::get_if<int>(&target)) return write_all(text, *descriptor);
  write_into(text, path);
} catch (const std::system_error& error) {
  throw InputError(path.string() + ": " + error.code().message());
}

void write_to_descriptor(std::string_view text, int descriptor, const std::string& name) try {
  write_all(text, descriptor);
} catch (const std::system_error& error) {
  throw InputError(name + ": " + error.code().message());
}

}  // namespace kelvane_hub
