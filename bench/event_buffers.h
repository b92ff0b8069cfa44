// Event buffers as a hub sends them, for measurements.
#pragma once

#include <string>

namespace cellscope::bench {

/// One cell event of `cells` cells, the technologies in turn, every field set.
std::string cell_event(int cells);

}  // namespace cellscope::bench
