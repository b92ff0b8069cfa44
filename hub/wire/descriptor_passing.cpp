#include "hub/wire/descriptor_passing.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace kelvane_hub {
namespace {

/// A message of one byte with room for one descriptor, and for one more where the alignment leaves it.
struct Message {
  Message() {
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
  }

  char byte = 0;
  iovec part{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr header{};
};

/// Takes over every descriptor that has come.
std::vector<UniqueFd> take_descriptors(msghdr& header) {
  std::vector<UniqueFd> taken;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    for (std::size_t at = CMSG_LEN(0); at + sizeof(int) <= part->cmsg_len; at += sizeof(int)) {
      int descriptor = -1;
      std::memcpy(&descriptor, reinterpret_cast<const char*>(part) + at, sizeof descriptor);
      taken.emplace_back(descriptor);
    }
  }
  return taken;
}

}  // namespace

bool send_descriptor(int socket, int descriptor) {
  Message message;
  cmsghdr* rights = CMSG_FIRSTHDR(&message.header);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
  return sendmsg(socket, &message.header, MSG_NOSIGNAL | MSG_DONTWAIT) == 1;
}

std::optional<UniqueFd> receive_descriptor(int socket) {
  Message message;
  ssize_t received = -1;
  do {
    received = recvmsg(socket, &message.header, MSG_CMSG_CLOEXEC);
  } while (received == -1 && errno == EINTR);
  if (received <= 0) return std::nullopt;
  std::vector<UniqueFd> taken = take_descriptors(message.header);
  if (taken.empty() || (message.header.msg_flags & MSG_CTRUNC) != 0) return UniqueFd();
  return std::move(taken.front());
}

}  // namespace kelvane_hub
