// What a phone may call the network that it is in.
#pragma once

#include <string>
#include <string_view>

#include "mox_wwan_test.pb.h"
#include "profile.pb.h"

namespace kelvane_hub {

struct Mode {
  std::string_view name;
  mox_wwan_cell_info::CellInfoCase technology;  // CELL_INFO_NOT_SET: without service
};

/// The mode of that name, in any case; null if there is none. With a profile its names go first.
const Mode* find_mode(std::string_view name);
const Mode* find_mode(std::string_view name, const import_profile& profile);

/// All names, for an error: "5G, LTE, … or -".
std::string mode_names();

}  // namespace kelvane_hub
