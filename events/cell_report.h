// The report of serving and neighbouring cells.
#pragma once

#include "mox_wwan_test.pb.h"

namespace cellscope {

/// Prints the cells on std::cout, each with the blocks that its cell_type selects; a field that is absent prints as 0.
/// Runs on the session library's callback thread.
void print(const mox_wwan_event_serving_neighboring_cell_info& info);

}  // namespace cellscope
