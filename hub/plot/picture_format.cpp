#include "hub/plot/picture_format.h"

#include <algorithm>
#include <iterator>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

constexpr PictureFormat all[] = {
    {".svg", "svg", 1, "dynamic font 'sans-serif,13'", "<?xml", "</svg>"},
    {".png", "pngcairo", 2, "font 'sans-serif,13' fontscale 1.5 linewidth 2 pointscale 3", "\x89PNG", ""},
    {".pdf", "pdfcairo", 0.01, "font 'sans-serif,13' fontscale 0.56 linewidth 1.4 pointscale 1.6", "%PDF", ""},
};

}  // namespace

const PictureFormat& format_for(const std::string& file) {
  if (file == "-") return all[0];
  const auto* const format =
      std::ranges::find_if(all, [&file](const PictureFormat& one) { return file.ends_with(one.ending); });
  if (format != std::end(all)) return *format;
  throw UsageError(
      concat("kelvane-hub plot: expected a picture whose name ends with .svg, .png or .pdf, found ", quoted(file)));
}

}  // namespace kelvane_hub
