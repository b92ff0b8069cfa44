#include "hub/report/run_follower.h"

#include <algorithm>
#include <utility>

#include "hub/report/run_reader.h"

namespace kelvane_hub {

Run RunFollower::take(std::string_view bytes) {
  pending_ += bytes;
  // What is pending already has been looked at.
  if (bytes.find('\n') == std::string_view::npos) return {};
  const std::string_view whole = std::string_view(pending_).substr(0, pending_.rfind('\n') + 1);
  Run run = read_piece(whole, name_, line_);
  unfinished_ = std::exchange(run.cut_off, 0);
  std::size_t done = whole.size();
  if (unfinished_ != 0) {
    done = 0;
    for (std::size_t line = line_; line < unfinished_; ++line) done = whole.find('\n', done) + 1;
  }
  line_ += static_cast<std::size_t>(std::ranges::count(whole.substr(0, done), '\n'));
  pending_.erase(0, done);
  return run;
}

}  // namespace kelvane_hub
