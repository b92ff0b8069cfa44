// Time, and whoever has something to do at some time to come.
#pragma once

#include <chrono>
#include <optional>

namespace kelvane_hub {

/// Time on the hub's own clock, which only goes forward.
using Time = std::chrono::nanoseconds;

/// Of all that comes first; none if neither comes.
inline std::optional<Time> earlier(std::optional<Time> one, std::optional<Time> other) {
  if (!one || !other) return one ? one : other;
  return *one < *other ? one : other;
}

/// Asks no clock: whoever runs it calls advance() once next_due() has come. One thread.
class Party {
 public:
  virtual ~Party() = default;

  /// When advance() has something to do; none while nothing is to come. Takes at most logarithmic time.
  virtual std::optional<Time> next_due() const = 0;

  /// Does what is due at `now`. May leave some of it for the next call, so that others get their turn.
  virtual void advance(Time now) = 0;
};

}  // namespace kelvane_hub
