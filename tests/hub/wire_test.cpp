#include <gtest/gtest.h>

#include "hub/wire/frame.h"

namespace kelvane_hub {
namespace {

constexpr suid sensor{0x0102030405060708, 0xf1f2f3f4f5f6f7f8};

TEST(Wire, AFrameHasItsBytes) {
  const std::string bytes(
      "KELV\3\0\0\0\2\0\0\0\x08\x07\x06\x05\x04\x03\x02\x01\xf8\xf7\xf6\xf5\xf4\xf3\xf2\xf1"
      "ab",
      30);
  EXPECT_EQ(encode_frame(FrameKind::event, sensor, "ab"), bytes);
}

TEST(Wire, FramesArriveInAnyPieces) {
  const std::string stream = encode_hello() + encode_frame(FrameKind::request, sensor, std::string("\0x", 2)) +
                             encode_frame(FrameKind::event, sensor, "");
  for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
    FrameReader reader;
    std::string payloads;
    for (std::size_t i = 0; i < stream.size(); i += piece) {
      reader.append(std::string_view(stream).substr(i, piece));
      while (const auto frame = reader.next()) payloads += frame->payload + "|";
    }
    EXPECT_EQ(payloads, std::string(hello_text) + "|" + std::string("\0x|", 3) + "|") << "pieces of " << piece;
    EXPECT_FALSE(reader.in_frame());
  }
}

}  // namespace
}  // namespace kelvane_hub
