#include "hub/plot/plot.h"

#include <filesystem>

#include "hub/base/files.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/plot/window.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {
namespace {

Track load_track(const std::string& file) {
  return file.ends_with(".textproto") ? track_of(load_scenario(file)) : track_of(load_run(file));
}

}  // namespace

void plot(const PlotOptions& options) {
  refuse_same_file(options.file, options.output, "what is drawn");
  const PictureFormat& format = format_for(options.output);
  const Track track = part_of(load_track(options.file), {options.from, options.to, options.sub});
  const std::string source = std::filesystem::path(name_of_input(options.file)).filename();
  write_output(draw(track, source, format), options.output);
}

}  // namespace kelvane_hub
