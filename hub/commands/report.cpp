#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/report/run_writer.h"

namespace kelvane_hub {

void report(const ReportOptions& options) {
  refuse_same_file(options.file, options.output, "the run");
  const Run run = load_run(options.file);
  write_output(options.format == "csv" ? to_csv(run) : to_json(run), options.output);
}

}  // namespace kelvane_hub
