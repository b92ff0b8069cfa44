#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "hub/wire/descriptor_passing.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {
namespace {

constexpr suid sensor{0x0102030405060708, 0xf1f2f3f4f5f6f7f8};

TEST(Wire, AFrameHasItsBytes) {
  const std::string payload(0x010203, 'x');
  const std::string header("KELV\3\0\0\0\3\2\1\0\x08\x07\x06\x05\x04\x03\x02\x01\xf8\xf7\xf6\xf5\xf4\xf3\xf2\xf1", 28);
  EXPECT_EQ(encode_frame(FrameKind::event, sensor, payload), header + payload);
}

TEST(Wire, FramesArriveInAnyPieces) {
  const std::string stream = encode_hello() + encode_frame(FrameKind::request, sensor, std::string("\0x", 2)) +
                             encode_frame(FrameKind::event, sensor, "") +
                             encode_frame(FrameKind::event, sensor, std::string(0x0180, 'x'));
  for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
    FrameReader reader;
    std::string payloads;
    for (std::size_t i = 0; i < stream.size(); i += piece) {
      reader.append(std::string_view(stream).substr(i, piece));
      while (const auto frame = reader.next()) {
        payloads += frame->payload + "|";
        EXPECT_EQ(frame->sensor.suid_high, frame->kind == FrameKind::hello ? 0 : sensor.suid_high);
      }
    }
    EXPECT_EQ(payloads, std::string(hello_text) + "|" + std::string("\0x||", 4) + std::string(0x0180, 'x') + "|")
        << "pieces of " << piece;
    EXPECT_FALSE(reader.in_frame());
  }
}

TEST(Wire, ADescriptorArrivesOrNoneOrTheEnd) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
  const UniqueFd receiver(ends[0]);
  UniqueFd sender(ends[1]);
  EXPECT_TRUE(send_descriptor(sender.get(), sender.get()));
  auto received = receive_descriptor(receiver.get());
  ASSERT_TRUE(received);
  // It is another one for the sender's end; what is sent there brings no descriptor.
  EXPECT_NE(received->get(), sender.get());
  EXPECT_EQ(send(received->get(), "x", 1, 0), 1);
  const auto none = receive_descriptor(receiver.get());
  ASSERT_TRUE(none);
  EXPECT_EQ(none->get(), -1);
  received.reset();
  sender.reset();
  EXPECT_FALSE(receive_descriptor(receiver.get()));
}

TEST(Wire, OfSeveralDescriptorsNoneLeaks) {
#ifdef TESTED_BY_EMULATOR
  GTEST_SKIP() << "the emulator has its own way with descriptors for which there is no room";
#endif
  for (const std::size_t count : {2U, 3U}) {  // what the alignment leaves room for, and more
    int ends[2];
    int pipe[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    ASSERT_EQ(pipe2(pipe, O_NONBLOCK), 0);
    const UniqueFd receiver(ends[0]);
    const UniqueFd sender(ends[1]);
    const UniqueFd reader(pipe[0]);
    UniqueFd writer(pipe[1]);
    alignas(cmsghdr) char control[CMSG_SPACE(3 * sizeof(int))] = {};
    char byte = 'x';
    iovec part{&byte, 1};
    msghdr message{nullptr, 0, &part, 1, control, CMSG_SPACE(count * sizeof(int)), 0};
    cmsghdr* rights = CMSG_FIRSTHDR(&message);
    *rights = {CMSG_LEN(count * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
    const int sent[] = {sender.get(), writer.get(), writer.get()};
    std::memcpy(CMSG_DATA(rights), sent, count * sizeof(int));
    ASSERT_EQ(sendmsg(sender.get(), &message, 0), 1);
    writer.reset();
    const auto received = receive_descriptor(receiver.get());
    ASSERT_TRUE(received);
    EXPECT_EQ(received->get() != -1, count == 2);
    EXPECT_EQ(read(reader.get(), &byte, 1), 0) << "somebody still has the other end";
  }
}

}  // namespace
}  // namespace kelvane_hub
