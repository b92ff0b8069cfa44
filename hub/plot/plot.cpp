#include "hub/plot/plot.h"

#include <chrono>

#include "hub/base/input_error.h"
#include "hub/plot/gnuplot.h"
#include "hub/plot/layout.h"
#include "hub/plot/script.h"
#include "hub/plot/svg.h"
#include "hub/plot/thinning.h"
#include "hub/plot/title.h"

namespace kelvane_hub {
namespace {

constexpr std::chrono::seconds patience(60);

/// gnuplot ends with status 0 even where it has drawn nothing.
void check(const std::string& picture, const PictureFormat& format) {
  const auto last = picture.find_last_not_of('\n');
  if (picture.starts_with(format.begin) && picture.substr(0, last + 1).ends_with(format.end)) return;
  throw InputError(std::string("plot: expected a picture from gnuplot, found ") +
                   (picture.empty() ? "nothing" : "something else"));
}

}  // namespace

std::string draw(const Track& track, const std::string& source, const PictureFormat& format) {
  const Track shown = thinned(track, panel_right - panel_left);
  const std::string title = title_of(source);
  std::string picture = run_gnuplot(script_of(shown, title, format), patience);
  check(picture, format);
  return is_svg(format) ? finished_svg(std::move(picture), title) : picture;
}

}  // namespace kelvane_hub
