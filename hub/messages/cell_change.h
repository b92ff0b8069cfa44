#pragma once

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// Whether `after` says something else than `before`: which fields are there counts, when it was measured does not.
bool cells_differ(const mox_wwan_event_serving_neighboring_cell_info& before,
                  const mox_wwan_event_serving_neighboring_cell_info& after);

}  // namespace kelvane_hub
