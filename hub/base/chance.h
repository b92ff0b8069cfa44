#pragma once

#include <cstdint>

namespace kelvane_hub {

/// Numbers that look random, and are the same for the same seed and the same three numbers that say what they are for,
/// whatever else happens.
class Chance {
 public:
  Chance(std::uint64_t seed, std::uint64_t first, std::uint64_t second, std::uint64_t third);

  /// The next one.
  std::uint64_t draw();

  /// Whether something of this probability, 0 to 1, is so.
  bool is_so(double probability);

  /// A whole number from -most to most, all as likely; `most` is 0 to 2^53.
  std::int64_t within(std::int64_t most);

 private:
  std::uint64_t state_;
};

}  // namespace kelvane_hub
