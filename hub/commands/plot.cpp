#include "hub/plot/plot.h"

#include <filesystem>

#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {

void plot(const PlotOptions& options) {
  refuse_same_file(options.file, options.output, "what is drawn");
  const bool is_scenario = options.file.ends_with(".textproto");
  const Track track = is_scenario ? track_of(load_scenario(options.file)) : track_of(load_run(options.file));
  write_output(draw(track, std::filesystem::path(options.file).filename()), options.output);
}

}  // namespace kelvane_hub
