#include "hub/session_library/patience.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace kelvane_hub {

void Patience::wait(int socket, std::chrono::milliseconds pause, const std::string& missed) {
  constexpr std::chrono::seconds once_interrupted{1};
  const auto now = Clock::now();
  if (now >= end_) {
    throw std::runtime_error(missed + (interrupted_ ? " before a signal interrupted the wait"
                                                    : " within " + std::to_string(longest_.count()) + " seconds"));
  }
  const auto left = std::min<std::chrono::nanoseconds>(end_ - now, pause);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  const timespec time{seconds.count(), (left - seconds).count()};
  pollfd input{socket, POLLIN, 0};
  if (ppoll(&input, 1, &time, &signals_blocked_.before()) != -1 || errno != EINTR) return;
  interrupted_ = true;
  end_ = std::min(end_, Clock::now() + once_interrupted);
}

}  // namespace kelvane_hub
