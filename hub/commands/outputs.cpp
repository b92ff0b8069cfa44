#include "hub/commands/outputs.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "hub/base/files.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

bool is_standard_output(const std::string& output) { return output.empty() || output == "-"; }

}  // namespace

void refuse_same_file(const std::string& input, const std::string& output, std::string_view what) {
  const fs::path read = input == "-" ? "/dev/stdin" : input;
  const fs::path written = is_standard_output(output) ? "/dev/stdout" : output;
  std::error_code ignored;
  // A terminal or /dev/null may well be both.
  if (!fs::is_regular_file(read, ignored) || !fs::equivalent(read, written, ignored)) return;
  throw InputError((is_standard_output(output) ? "standard output" : output) + ": expected another file than " +
                   std::string(what) + ", found the same");
}

void write_output(std::string_view text, const std::string& output) {
  if (!is_standard_output(output)) return write_file(text, output);
  write_to_descriptor(text, STDOUT_FILENO, "standard output");
}

}  // namespace kelvane_hub
