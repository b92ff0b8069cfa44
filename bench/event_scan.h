// Reads as much of a frame as a measurement needs, without a copy: what receives must not be what is measured.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "hub/base/party.h"
#include "hub/wire/frame.h"

namespace kelvane_hub::bench {

/// A frame in someone else's bytes.
struct FrameView {
  FrameKind kind;
  std::string_view payload;
};

/// Takes the frame at the front of `bytes` off; none, and leaves them alone, if it is not whole.
inline std::optional<FrameView> take_frame(std::string_view& bytes) {
  constexpr std::size_t kind_at = 4;
  constexpr std::size_t size_at = 8;
  constexpr std::size_t header = 28;
  if (bytes.size() < header) return {};
  const auto number_at = [bytes](std::size_t at) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
  };
  const std::size_t size = number_at(size_at);
  if (bytes.size() - header < size) return {};
  const FrameView frame{static_cast<FrameKind>(number_at(kind_at)), bytes.substr(header, size)};
  bytes.remove_prefix(header + size);
  return frame;
}

/// A field of a serialised message.
struct Field {
  std::uint64_t number = 0;  // of a varint
  std::string_view bytes;    // of anything that has a length
};

inline std::uint64_t take_varint(std::string_view& from) {
  std::uint64_t value = 0;
  for (unsigned shift = 0; !from.empty() && shift < 64; shift += 7) {
    const auto byte = static_cast<std::uint8_t>(from.front());
    from.remove_prefix(1);
    value |= std::uint64_t{byte & 0x7FU} << shift;
    if (byte < 0x80) break;
  }
  return value;
}

/// The first field of that number in a well-formed `message` of varints and fields with a length; an empty one if
/// there is none.
inline Field field_of(std::string_view message, std::uint32_t number) {
  constexpr std::uint64_t with_length = 2;
  while (!message.empty()) {
    const std::uint64_t key = take_varint(message);
    Field field{take_varint(message), {}};
    if ((key & 7U) == with_length) {
      field.bytes = message.substr(0, field.number);
      message.remove_prefix(field.bytes.size());
    }
    if (key >> 3U == number) return field;
  }
  return {};
}

/// The one event in a delivery.
struct EventView {
  std::uint64_t msg_id;
  Time timestamp;  // on the hub's clock
  std::string_view payload;
};

inline EventView event_in(std::string_view delivery) {
  const std::string_view event = field_of(delivery, 2).bytes;
  return {field_of(event, 1).number, Time(field_of(event, 2).number), field_of(event, 3).bytes};
}

/// The ci of the first LTE cell in a report of cells.
inline std::uint64_t ci_in(std::string_view cells) {
  const std::string_view lte = field_of(field_of(cells, 1).bytes, 7).bytes;
  return field_of(field_of(lte, 1).bytes, 3).number;
}

}  // namespace kelvane_hub::bench
