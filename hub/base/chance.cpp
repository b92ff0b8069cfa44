#include "hub/base/chance.h"

#include <initializer_list>

namespace kelvane_hub {
namespace {

/// One of the best mixers that are short: each bit of the number changes half of the result's.
std::uint64_t mix(std::uint64_t number) {
  number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9;
  number = (number ^ (number >> 27)) * 0x94d049bb133111eb;
  return number ^ (number >> 31);
}

constexpr std::uint64_t stride = 0x9e3779b97f4a7c15;

}  // namespace

Chance::Chance(std::uint64_t seed, std::uint64_t first, std::uint64_t second, std::uint64_t third) : state_(mix(seed)) {
  for (const std::uint64_t part : {first, second, third}) state_ = mix(state_ + stride + part);
}

std::uint64_t Chance::draw() { return mix(state_ += stride); }

bool Chance::is_so(double probability) {
  // As many bits as a double holds, from 0 to less than 1.
  return static_cast<double>(draw() >> 11) * 0x1p-53 < probability;
}

std::int64_t Chance::within(std::int64_t most) {
  const std::uint64_t range = 2 * static_cast<std::uint64_t>(most) + 1;
  return static_cast<std::int64_t>(draw() % range) - most;
}

}  // namespace kelvane_hub
