#include <iostream>

#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/report/run_writer.h"

namespace kelvane_hub {

void report(const ReportOptions& options) {
  const Run run = load_run(options.file);
  const std::string text = options.format == "csv" ? to_csv(run) : to_json(run);
  if (!options.output.empty()) return write_file(text, options.output);
  if (!(std::cout << text << std::flush)) throw InputError("standard output: cannot write all of the report");
}

}  // namespace kelvane_hub
