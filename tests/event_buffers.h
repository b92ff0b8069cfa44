// Event buffers as a hub sends them, for measurements and tests.
#pragma once

#include <string>

namespace cellscope::test {

/// One cell event of `cells` cells, the technologies in turn, every field set.
std::string cell_event(int cells);

/// One attribute event of `attributes` attributes of one integer, their ids from 0 on.
std::string attribute_event(int attributes);

}  // namespace cellscope::test
