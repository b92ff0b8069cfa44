#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/base/unique_fd.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/wire/capture_file.h"

namespace kelvane_hub {

void dump(const DumpOptions& options) {
  Lines lines(options.view);
  UniqueFd file;
  if (options.file != "-") file = UniqueFd(open(options.file.c_str(), O_RDONLY | O_CLOEXEC));
  if (options.file != "-" && !file) {
    throw InputError(concat(options.file, ": cannot read it: ", std::strerror(errno)));
  }
  CaptureReader capture(file ? file.get() : STDIN_FILENO, name_of_input(options.file));
  // As they come: behind a pipe a hub may be at work.
  while (const auto record = capture.next()) {
    if (const std::string text = lines.of(*record); !text.empty()) write_output(text, "-");
  }
  if (!capture.cut_off().empty()) write_to_descriptor(capture.cut_off() + "\n", STDERR_FILENO, "standard error");
}

}  // namespace kelvane_hub
