// Output files of cellscope, read while they grow.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "hub/report/run.h"

namespace kelvane_hub {

/// Reads a run piece by piece, tolerantly. Keeps the report that is not whole yet, and nothing else.
class RunFollower {
 public:
  /// `name` takes the file's place in messages.
  explicit RunFollower(std::string name) : name_(std::move(name)) {}

  /// Takes the bytes that come next. Returns what is whole with them: never a report that is cut off, or a line.
  Run take(std::string_view bytes);

  /// The line at which a report begins that is not whole yet; 0: there is none.
  std::size_t unfinished() const { return unfinished_; }

 private:
  std::string name_;
  std::string pending_;
  std::size_t line_ = 1;  // that `pending_` begins with
  std::size_t unfinished_ = 0;
};

}  // namespace kelvane_hub
