#include "hub/wire/descriptor_passing.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>

namespace kelvane_hub {
namespace {

/// A message of one byte with room for one descriptor.
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

}  // namespace

bool send_descriptor(int socket, int descriptor) {
  Message message;
  cmsghdr* rights = CMSG_FIRSTHDR(&message.header);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
  return sendmsg(socket, &message.header, MSG_NOSIGNAL) == 1;
}

std::optional<UniqueFd> receive_descriptor(int socket) {
  Message message;
  ssize_t received = -1;
  do {
    received = recvmsg(socket, &message.header, MSG_CMSG_CLOEXEC);
  } while (received == -1 && errno == EINTR);
  if (received <= 0) return std::nullopt;
  const cmsghdr* rights = CMSG_FIRSTHDR(&message.header);
  if (rights == nullptr || rights->cmsg_type != SCM_RIGHTS) return UniqueFd();
  int descriptor = -1;
  std::memcpy(&descriptor, CMSG_DATA(rights), sizeof descriptor);
  return UniqueFd(descriptor);
}

}  // namespace kelvane_hub
