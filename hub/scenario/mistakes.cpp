#include "hub/scenario/mistakes.h"

#include <algorithm>
#include <tuple>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {

std::string Mistakes::text() const {
  std::vector<Mistake> ordered = all_;
  std::ranges::stable_sort(ordered, {},
                           [](const Mistake& mistake) { return std::tuple(mistake.place.line, mistake.place.column); });
  std::string text;
  for (const auto& [place, message] : ordered) {
    text += text.empty() ? "" : "\n";
    text += concat(file_, ":", place.line + 1, ":", place.column + 1, ": ", message);
  }
  return text;
}

void Mistakes::throw_if_any() const {
  if (!empty()) throw InputError(text());
}

}  // namespace kelvane_hub
