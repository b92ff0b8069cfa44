// What a session library and a hub say to each other over a Unix stream socket.
//
// Each side starts with a hello; then the library sends requests and the hub sends events. A frame is a header of 28
// bytes (all numbers little endian) and its payload:
//
//   4 bytes   "KELV"
//   4 bytes   kind: 1 hello, 2 request, 3 event
//   4 bytes   size of the payload, at most max_payload; of a request max_request
//   8+8 bytes SUID of the sensor that the request is for or the event is from, low half first; 0 in a hello
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kelvane/session.h"

namespace kelvane_hub {

using com::tarn::kelvane::suid;

enum class FrameKind : std::uint32_t { hello = 1, request = 2, event = 3 };

struct Frame {
  FrameKind kind{};
  suid sensor{};
  std::string payload;
};

/// A hub has room for so many at once, or for fewer if it may open fewer files.
inline constexpr std::size_t max_connections = 4096;

inline constexpr std::size_t max_payload = std::size_t{64} << 20;

/// Clients ask for little. What a parser makes of a request can be many times its size.
inline constexpr std::size_t max_request = std::size_t{64} << 10;

/// The payload of both hellos. The number grows when the form of a frame changes.
inline constexpr std::string_view hello_text = "kelvane wire 1";

/// The peer broke the rules; what() says what was expected and what came. The connection cannot go on.
class WireError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The frame as bytes. `payload` has at most max_payload bytes.
std::string encode_frame(FrameKind kind, suid sensor, std::string_view payload);

/// The payload of a frame that encode_frame() has made.
std::string_view payload_in(std::string_view frame);

/// The two hellos are alike.
std::string encode_hello();

/// Throws WireError unless `frame` is a hello of this version.
void expect_hello(const Frame& frame);

/// Takes a stream of bytes apart into frames.
class FrameReader {
 public:
  /// Frames may have payloads of at most `limit` bytes.
  explicit FrameReader(std::size_t limit = max_payload) : limit_(limit) {}

  /// From the next frame on.
  void set_limit(std::size_t limit) { limit_ = limit; }

  /// Takes the bytes that came next.
  void append(std::string_view bytes);

  /// The next whole frame, if there is one. Throws WireError as soon as the bytes cannot become one.
  std::optional<Frame> next();

  /// Whether a frame has begun that has not been taken.
  bool in_frame() const { return consumed_ < bytes_.size(); }

 private:
  std::size_t limit_;
  std::string bytes_;
  std::size_t consumed_ = 0;
};

}  // namespace kelvane_hub
