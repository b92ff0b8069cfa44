#include "hub/analysis/difference.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_evaluated.h"
#include "hub/commands/outputs.h"

namespace kelvane_hub {

bool diff(const DiffOptions& options) {
  if (options.before == "-" && options.after == "-") {
    throw InputError("kelvane-hub diff: expected a file beside standard input, found '-' twice");
  }
  const std::string text =
      difference_of(load_evaluated(options.before), load_evaluated(options.after), options.tolerance);
  write_output(text, "-");
  return text.empty();
}

}  // namespace kelvane_hub
