// How late things were.
#pragma once

#include <algorithm>
#include <vector>

#include "hub/base/party.h"

namespace kelvane_hub::bench {

class Lateness {
 public:
  void add(Time late) { late_.push_back(std::chrono::duration<float, std::milli>(late).count()); }

  void clear() { late_.clear(); }

  /// In milliseconds; `share` of all, 0 to 1, were not later: 0.5 is the median, 1 the worst. 0 if there are none.
  double quantile(double share) {
    if (late_.empty()) return 0;
    const auto place = late_.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(late_.size() - 1));
    std::ranges::nth_element(late_, place);
    return *place;
  }

 private:
  std::vector<float> late_;  // milliseconds
};

}  // namespace kelvane_hub::bench
