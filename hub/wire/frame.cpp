#include "hub/wire/frame.h"

#include "hub/base/hex.h"
#include "hub/wire/little_endian.h"

namespace kelvane_hub {
namespace {

constexpr std::string_view magic = "KELV";
constexpr std::size_t header_size = 28;

template <class Number>
void put(std::string& out, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i) out.push_back(static_cast<char>(number >> (8 * i) & 0xff));
}

template <class Number>
Number take(std::string_view& bytes) {
  const auto number = static_cast<Number>(number_at(bytes, 0, sizeof(Number)));
  bytes.remove_prefix(sizeof number);
  return number;
}

void check_magic(std::string_view bytes) {
  const auto start = bytes.substr(0, magic.size());
  if (start != magic.substr(0, start.size())) {
    throw WireError("expected a frame that starts with \"KELV\", found the bytes " + in_hex(start, " "));
  }
}

FrameKind check_kind(std::uint32_t kind) {
  if (kind < 1 || kind > 3) throw WireError("expected a frame of kind 1 to 3, found " + std::to_string(kind));
  return static_cast<FrameKind>(kind);
}

void check_size(std::size_t size, std::size_t limit) {
  if (size > limit) {
    throw WireError("expected a payload of at most " + std::to_string(limit) + " bytes, found one of " +
                    std::to_string(size));
  }
}

}  // namespace

std::string encode_frame(FrameKind kind, suid sensor, std::string_view payload) {
  std::string bytes;
  bytes.reserve(header_size + payload.size());
  bytes += magic;
  put(bytes, static_cast<std::uint32_t>(kind));
  put(bytes, static_cast<std::uint32_t>(payload.size()));
  put(bytes, sensor.suid_low);
  put(bytes, sensor.suid_high);
  bytes += payload;
  return bytes;
}

std::string_view payload_in(std::string_view frame) { return frame.substr(header_size); }

std::string encode_hello() { return encode_frame(FrameKind::hello, {}, hello_text); }

void expect_hello(const Frame& frame) {
  if (frame.kind != FrameKind::hello) {
    throw WireError("expected a hello first, found a frame of kind " +
                    std::to_string(static_cast<std::uint32_t>(frame.kind)));
  }
  if (frame.payload != hello_text) {
    throw WireError("expected the hello \"" + std::string(hello_text) + "\", found another of " +
                    std::to_string(frame.payload.size()) + " bytes");
  }
}

void FrameReader::append(std::string_view bytes) {
  bytes_.erase(0, consumed_);
  consumed_ = 0;
  bytes_ += bytes;
}

std::optional<Frame> FrameReader::next() {
  std::string_view rest = std::string_view(bytes_).substr(consumed_);
  check_magic(rest);
  if (rest.size() < header_size) return std::nullopt;
  rest.remove_prefix(magic.size());
  Frame frame;
  frame.kind = check_kind(take<std::uint32_t>(rest));
  const std::size_t size = take<std::uint32_t>(rest);
  check_size(size, limit_);
  frame.sensor.suid_low = take<std::uint64_t>(rest);
  frame.sensor.suid_high = take<std::uint64_t>(rest);
  if (rest.size() < size) return std::nullopt;
  frame.payload = rest.substr(0, size);
  consumed_ += header_size + size;
  return frame;
}

}  // namespace kelvane_hub
