#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/report/run_writer.h"

namespace kelvane_hub {

void report(const ReportOptions& options) {
  refuse_same_file(options.file, options.output, "the run");
  const Run run = load_run(options.file, options.is_strict ? Reading::strict : Reading::tolerant);
  const RunTimes times = times_of(run);
  write_output(options.format == "csv" ? to_csv(run, times) : to_json(run, times), options.output);
}

}  // namespace kelvane_hub
