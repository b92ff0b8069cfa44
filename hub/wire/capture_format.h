// The form of a capture file: pcap with times in nanoseconds, all numbers little endian. docs/protocol.md has it in
// full.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>

#include "kelvane/session.h"

namespace kelvane_hub {

inline constexpr std::uint32_t capture_magic = 0xa1b23c4d;
inline constexpr std::uint16_t capture_version = 2;
inline constexpr std::uint16_t capture_minor_version = 4;
/// Kept free for users by those who number link types.
inline constexpr std::uint32_t capture_link_type = 147;
/// Most bytes of a record's data: more than the largest message of the wire, with what stands in front of it.
inline constexpr std::uint32_t max_capture_data = (std::uint32_t{64} << 20) + 128;

/// Of what stands in front of the message in a record's data.
inline constexpr std::uint8_t capture_record_version = 1;
inline constexpr std::size_t capture_record_size = 24;

/// In front of a record's data: seconds, nanoseconds, bytes in the file, bytes that there were.
inline constexpr std::size_t pcap_record_size = 16;

/// As records have them.
enum class Direction : std::uint8_t { event = 1, request = 2 };

/// What a record says beside the message itself.
struct CaptureHead {
  std::chrono::nanoseconds time;  // since 1970, not before, and before 2106
  Direction direction;
  std::uint32_t session;  // from 1, in the order in which they were opened
  com::tarn::kelvane::suid sensor;
};

/// Numbers one after the other, `Size` bytes in all.
template <std::size_t Size>
class CaptureNumbers {
 public:
  template <std::unsigned_integral Number>
  constexpr CaptureNumbers& put(Number number) {
    constexpr unsigned bits = 8;
    for (std::size_t i = 0; i < sizeof number; ++i) bytes_[used_++] = static_cast<std::uint8_t>(number >> (bits * i));
    return *this;
  }
  template <std::size_t More>
  constexpr CaptureNumbers& put(const std::array<std::uint8_t, More>& bytes) {
    for (const std::uint8_t byte : bytes) bytes_[used_++] = byte;
    return *this;
  }
  constexpr const std::array<std::uint8_t, Size>& bytes() const { return bytes_; }

 private:
  std::array<std::uint8_t, Size> bytes_{};
  std::size_t used_ = 0;
};

/// What a capture file begins with.
inline constexpr auto capture_file_header = CaptureNumbers<24>()
                                                .put(capture_magic)
                                                .put(capture_version)
                                                .put(capture_minor_version)
                                                .put(std::uint64_t{0})  // time zone and precision, which nobody uses
                                                .put(max_capture_data)
                                                .put(capture_link_type)
                                                .bytes();

/// How many bytes of a message of `size` bytes a record has.
constexpr std::size_t captured_size(std::size_t size) {
  return std::min<std::size_t>(size, max_capture_data - capture_record_size);
}

/// What stands in a record in front of its message.
constexpr auto encode_message_head(const CaptureHead& head) {
  return CaptureNumbers<capture_record_size>()
      .put(capture_record_version)
      .put(static_cast<std::uint8_t>(head.direction))
      .put(std::uint16_t{0})
      .put(head.session)
      .put(head.sensor.suid_low)
      .put(head.sensor.suid_high)
      .bytes();
}

/// All of a record that stands in front of its message of `size` bytes, of which captured_size() follow.
constexpr auto encode_capture_record(const CaptureHead& head, std::size_t size) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(head.time);
  return CaptureNumbers<pcap_record_size + capture_record_size>()
      .put(static_cast<std::uint32_t>(seconds.count()))
      .put(static_cast<std::uint32_t>((head.time - seconds).count()))
      .put(static_cast<std::uint32_t>(capture_record_size + captured_size(size)))
      .put(static_cast<std::uint32_t>(capture_record_size + size))
      .put(encode_message_head(head))
      .bytes();
}

}  // namespace kelvane_hub
