#include "hub/plot/svg.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <vector>

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

/// The ways in which gnuplot writes the colour "#rrggbb".
std::vector<std::string> forms_of(std::string_view colour) {
  unsigned value = 0;
  (void)std::from_chars(colour.data() + 1, colour.data() + colour.size(), value, 16);
  std::vector<std::string> forms = {std::string(colour)};
  for (const char* const format : {"#%02x%02x%02x", "rgb(%3u, %3u, %3u)", "rgb(%u,%u,%u)"}) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), format, value >> 16U, value >> 8U & 255U, value & 255U);
    forms.emplace_back(text.data());
  }
  if (colour == ink.light) forms.emplace_back("black");
  return forms;
}

/// Of whatever has that colour as `attribute`.
std::string selectors(std::string_view colour, std::string_view attribute) {
  std::string all;
  for (const std::string& form : forms_of(colour)) {
    all += concat(all.empty() ? "" : ", ", "[", attribute, "=\"", form, "\"]");
  }
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
