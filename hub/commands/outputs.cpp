#include "hub/commands/outputs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

/// Of what is not there yet the names tell.
bool is_same(const fs::path& one, const fs::path& other) {
  std::error_code ignored;
  // A terminal or /dev/null may well be both.
  if (fs::exists(one, ignored)) return fs::is_regular_file(one, ignored) && fs::equivalent(one, other, ignored);
  return fs::weakly_canonical(fs::absolute(one, ignored), ignored) ==
         fs::weakly_canonical(fs::absolute(other, ignored), ignored);
}

bool is_standard_output(const std::string& output) { return output.empty() || output == "-"; }

}  // namespace

void refuse_same_file(const std::string& input, const std::string& output, std::string_view what) {
  const fs::path read = input == "-" ? "/dev/stdin" : input;
  const fs::path written = is_standard_output(output) ? "/dev/stdout" : output;
  if (!is_same(read, written)) return;
  throw InputError((is_standard_output(output) ? "standard output" : output) + ": expected another file than " +
                   std::string(what) + ", found the same");
}

int watched_output() {
  struct stat status {};
  const bool has_reader = fstat(STDOUT_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
  return has_reader ? STDOUT_FILENO : -1;
}

void tell_unread_output() { throw InputError(concat("standard output: ", std::strerror(EPIPE))); }

void write_output(std::string_view text, const std::string& output) {
  if (!is_standard_output(output)) return write_file(text, output);
  write_to_descriptor(text, STDOUT_FILENO, "standard output");
}

}  // namespace kelvane_hub
