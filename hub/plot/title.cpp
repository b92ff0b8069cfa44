#include "hub/plot/title.h"

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

namespace kelvane_hub {
namespace {

constexpr std::string_view replacement = "\uFFFD";
constexpr std::size_t longest = 100;  // characters

std::string as_utf8(const std::string& text) {
  using nlohmann::json;
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

bool is_first_byte(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

/// What XML allows of it.
std::string_view shown(std::string_view character) {
  const auto byte = static_cast<unsigned char>(character.front());
  const bool is_none = character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";  // U+FFFE, U+FFFF
  return byte < ' ' || byte == 0x7F || is_none ? replacement : character;
}

std::vector<std::string_view> characters_of(std::string_view text) {
  std::vector<std::string_view> characters;
  for (std::size_t begin = 0; begin < text.size();) {
    std::size_t end = begin + 1;
    while (end < text.size() && !is_first_byte(text[end])) ++end;
    characters.push_back(shown(text.substr(begin, end - begin)));
    begin = end;
  }
  return characters;
}

}  // namespace

std::string title_of(const std::string& name) {
  const std::string text = as_utf8(name);
  const auto characters = characters_of(text);
  std::string title;
  for (std::size_t i = 0; i < characters.size(); ++i) {
    const bool is_cut = characters.size() > longest && i >= longest / 2 && i < characters.size() - longest / 2;
    if (!is_cut) title += characters[i];
    if (is_cut && i == longest / 2) title += "…";
  }
  return title;
}

}  // namespace kelvane_hub
