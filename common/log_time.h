#pragma once

#include <cstdint>

namespace cellscope {

/// Wall-clock time in whole seconds since 1970, as reports show it after "Log Time: ".
std::int64_t log_time();

}  // namespace cellscope
