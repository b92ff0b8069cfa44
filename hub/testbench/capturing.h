#pragma once

#include <cstdint>
#include <string>

namespace kelvane_hub {

/// Whoever can keep what a hub and its clients say to each other. Throws InputError for what cannot be done.
class Capturing {
 public:
  virtual ~Capturing() = default;

  /// Begins a capture at `path`, an absolute one.
  virtual void start_capture(const std::string& path) = 0;

  /// Ends the one under way. Returns how many messages there were; what the disk takes slowly may still be written
  /// after that.
  virtual std::uint64_t stop_capture() = 0;
};

}  // namespace kelvane_hub
