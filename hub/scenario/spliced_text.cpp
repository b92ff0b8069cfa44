#include "hub/scenario/spliced_text.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace kelvane_hub {

void SplicedText::clear() {
  text_.clear();
  lines_ = 0;
  splices_.clear();
}

void SplicedText::add(const TextPart& part) {
  // As far behind a tab stop as it was, for the tabs in it to be as wide.
  constexpr int tab = 8;
  const int column = part.begin.column % tab;
  if (!splices_.empty()) text_ += '\n';  // and none at the end: whether a text ends with one matters to a parser
  splices_.push_back({{lines_, column}, part.begin});
  text_.append(static_cast<std::size_t>(column), ' ').append(part.text);
  lines_ += 1 + static_cast<int>(std::ranges::count(part.text, '\n'));
}

TextPlace SplicedText::origin_of(TextPlace place) const {
  const auto after = std::ranges::upper_bound(splices_, place.line, {}, [](const Splice& s) { return s.here.line; });
  if (after == splices_.begin()) return place;
  const auto& [here, origin] = *std::prev(after);
  if (place.line > here.line) return {place.line - here.line + origin.line, place.column};
  return {origin.line, place.column - here.column + origin.column};
}

}  // namespace kelvane_hub
