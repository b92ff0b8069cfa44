#include "hub/report/run_follower.h"

#include <algorithm>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/report/run_lines.h"
#include "hub/report/run_reader.h"

namespace kelvane_hub {

Run RunFollower::take(std::string_view bytes) {
  pending_ += bytes;
  Run run;
  // What is pending already has been looked at.
  if (bytes.find('\n') != std::string_view::npos && may_be_whole()) run = read();
  if (pending_.size() <= most_unfinished) return run;
  throw InputError(
      concat(name_, ":", line_, ": expected the end of a report within ", most_unfinished, " bytes, found none"));
}

/// Looks at the lines that are new. Those that belong to no report, and empty ones after an empty one, end none.
bool RunFollower::may_be_whole() {
  bool begins = false;
  for (std::size_t end = 0; (end = pending_.find('\n', unseen_)) != std::string::npos; unseen_ = end + 1) {
    auto line = std::string_view(pending_).substr(unseen_, end - unseen_);
    while (line.ends_with('\r')) line.remove_suffix(1);
    if (!may_be_of_report(line) || (line.empty() && is_after_empty_)) continue;
    is_after_empty_ = line.empty();
    begins = begins || begins_report(line);
    if (missing_ > 0) --missing_;
  }
  // What is malformed shows at the next beginning, or when it has grown enough to pay for being read again.
  return unfinished_ == 0 || begins || missing_ == 0 || pending_.size() >= 2 * read_size_;
}

Run RunFollower::read() {
  const std::string_view whole = std::string_view(pending_).substr(0, pending_.rfind('\n') + 1);
  Run run = read_piece(whole, name_, line_);
  unfinished_ = std::exchange(run.cut_off, 0);
  std::size_t done = whole.size();
  if (unfinished_ != 0) {
    done = 0;
    for (std::size_t line = line_; line < unfinished_; ++line) done = whole.find('\n', done) + 1;
  }
  line_ += static_cast<std::size_t>(std::ranges::count(whole.substr(0, done), '\n'));
  unseen_ = whole.size() - done;
  missing_ = std::max<std::size_t>(std::exchange(run.missing, 0), 1);
  pending_.erase(0, done);
  read_size_ = pending_.size();
  return run;
}

}  // namespace kelvane_hub
