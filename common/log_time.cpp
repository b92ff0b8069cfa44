#include "common/log_time.h"

#include <sys/time.h>

namespace cellscope {

std::int64_t log_time() {
  constexpr std::int64_t microseconds_per_second = 1000000;
  timeval now{};
  gettimeofday(&now, nullptr);
  return (std::int64_t{now.tv_sec} * microseconds_per_second + now.tv_usec) / microseconds_per_second;
}

}  // namespace cellscope
