#include "hub/plot/svg.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <string_view>

#include "hub/base/concat.h"
#include "hub/plot/palette.h"

namespace kelvane_hub {
namespace {

void replace_all(std::string& text, std::string_view old, std::string_view with) {
  for (auto at = text.find(old); at != std::string::npos; at = text.find(old, at + with.size())) {
    text.replace(at, old.size(), with);
  }
}

std::string escaped(std::string text) {
  replace_all(text, "&", "&amp;");
  replace_all(text, "<", "&lt;");
  replace_all(text, ">", "&gt;");
  return text;
}

int byte_of(std::string_view digits) {
  int value = 0;
  (void)std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  return value;
}

/// The ways in which gnuplot writes the colour "#rrggbb", in CSS selectors of attributes that have it.
std::string selectors(std::string_view colour, std::string_view attribute) {
  std::array<char, 32> numbers{};
  (void)std::snprintf(numbers.data(), numbers.size(), "rgb(%3d, %3d, %3d)", byte_of(colour.substr(1, 2)),
                      byte_of(colour.substr(3, 2)), byte_of(colour.substr(5, 2)));
  std::string all = concat("[", attribute, "=\"", colour, "\" i], [", attribute, "=\"", numbers.data(), "\"]");
  if (colour == ink.light) all += concat(", [", attribute, "=\"black\"]");
  return all;
}

std::string dark_mode() {
  std::string style = "<style>\n@media (prefers-color-scheme: dark) {\n";
  for (const Colour& colour : palette()) {
    for (const std::string_view attribute : {"fill", "stroke", "color"}) {
      style += concat("  ", selectors(colour.light, attribute), " { ", attribute, ": ", colour.dark, "; }\n");
    }
  }
  return style + "}\n</style>\n";
}

}  // namespace

std::string finished_svg(std::string svg, const std::string& title) {
  replace_all(svg, "]]>", "]]&gt;");
  constexpr std::string_view gnuplots_title = "<title>Gnuplot</title>";
  const auto found = svg.find(gnuplots_title);
  if (found != std::string::npos) {
    svg.replace(found, gnuplots_title.size(), concat("<title>", escaped(title), "</title>\n", dark_mode()));
  }
  return svg;
}

}  // namespace kelvane_hub
