#include "hub/plot/palette.h"

#include <algorithm>
#include <iterator>

#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

// From light to dark; the last one is that of all other states.
constexpr Colour rrc_colours[] = {{"#DDD3EC", "#3F3358"}, {"#C0AEDD", "#5A487F"}, {"#A286CC", "#7A63A8"},
                                  {"#8460B4", "#9C84CB"}, {"#663F97", "#BFABE3"}, {"#472475", "#E2D8F5"}};

}  // namespace

const Colour& rrc_colour(std::int32_t state) {
  constexpr auto last = static_cast<std::int32_t>(std::size(rrc_colours)) - 1;
  return rrc_colours[state < 0 || state > last ? last : state];
}

Colour technology_colour(std::int32_t cell_type) {
  const Technology& technology = *find_technology(cell_type);
  return {technology.colour, technology.dark_colour};
}

std::vector<Colour> palette() {
  std::vector<Colour> all = {paper, ink, grid_lines, outage_shade, perhaps_shade, change_marks, plain_state};
  std::ranges::copy(rrc_colours, std::back_inserter(all));
  for (const Technology& technology : technologies()) all.push_back({technology.colour, technology.dark_colour});
  return all;
}

}  // namespace kelvane_hub
