#include "hub/capture/wire_line.h"

#include <algorithm>
#include <array>
#include <limits>

#include "hub/base/concat.h"
#include "hub/base/hex.h"
#include "hub/base/input_error.h"
#include "hub/base/numbers.h"

namespace kelvane_hub {
namespace {

[[noreturn]] void fail(std::string_view line) {
  throw InputError(concat("expected five numbers and bytes of a message, found ", quoted(line)));
}

bool is_direction(std::uint64_t number) {
  return number == std::uint64_t{static_cast<std::uint8_t>(Direction::event)} ||
         number == std::uint64_t{static_cast<std::uint8_t>(Direction::request)};
}

}  // namespace

std::string to_line(const CaptureRecord& record) {
  return concat(record.time.count(), " ", static_cast<int>(record.direction), " ", record.session, " ",
                record.sensor.suid_low, " ", record.sensor.suid_high, " ", in_hex(record.message), "\n");
}

CaptureRecord from_line(std::string_view line) {
  std::string_view left = line;
  std::array<std::uint64_t, 5> numbers{};
  for (std::uint64_t& number : numbers) {
    const auto end = left.find(' ');
    const auto found = end == std::string_view::npos ? std::nullopt : number_of<std::uint64_t>(left.substr(0, end));
    if (!found) fail(line);
    number = *found;
    left.remove_prefix(end + 1);
  }
  constexpr std::uint64_t most_sessions = std::numeric_limits<std::uint32_t>::max();
  if (!is_direction(numbers[1]) || numbers[2] > most_sessions) fail(line);
  CaptureRecord record{std::chrono::nanoseconds(numbers[0]),
                       static_cast<Direction>(numbers[1]),
                       static_cast<std::uint32_t>(numbers[2]),
                       {numbers[3], numbers[4]},
                       ""};
  for (; !left.empty(); left.remove_prefix(std::min<std::size_t>(2, left.size()))) {
    const auto byte = number_of<std::uint8_t>(left.substr(0, 2), 16);
    if (!byte) fail(line);
    record.message += static_cast<char>(*byte);
  }
  return record;
}

}  // namespace kelvane_hub
