// What gnuplot's SVG lacks.
#pragma once

#include <string>

namespace kelvane_hub {

/// `svg` as gnuplot writes it, made well formed whatever its texts say, named `title` instead of "Gnuplot", and dark
/// where the reader asks for that.
std::string finished_svg(std::string svg, const std::string& title);

}  // namespace kelvane_hub
