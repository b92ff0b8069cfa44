// What a step with a change makes of the cells of a subscription.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "hub/base/input_error.h"
#include "kelvane_api.pb.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Something is wrong with shorthand: with that field of it, or with all of it if the name is empty.
class ShorthandError : public InputError {
 public:
  ShorthandError(std::string field, const std::string& message) : InputError(message), field_(std::move(field)) {}

  const std::string& field() const { return field_; }

 private:
  std::string field_;
};

/// Which of the `count` cells of its subscription a change, a ramp or a variation (`kind`) is about, from 0; at least
/// one. Throws ShorthandError.
template <class Said>
std::vector<int> cells_meant(const Said& said, const std::string& kind, int count);

void forget_timestamps(mox_wwan_event_serving_neighboring_cell_info& cells);

/// Changes `cells`, which have no timestamps from then on. Returns the numbers of those that were meant. Throws
/// ShorthandError, and `cells` may have changed in part.
std::vector<int> apply_change(const scenario_change& change, mox_wwan_event_serving_neighboring_cell_info& cells);

}  // namespace kelvane_hub
