// What a scenario says that can hardly be meant.
#pragma once

#include <google/protobuf/text_format.h>

#include "hub/scenario/scenario_check.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Adds a warning for each cell whose technology does not exist, or is another one than its parts are of, and for each
/// value that no receiver measures. `places` says where the parts of `checked` stand.
void check_plausibility(const scenario& checked, const google::protobuf::TextFormat::ParseInfoTree& places,
                        Mistakes& warnings);

}  // namespace kelvane_hub
