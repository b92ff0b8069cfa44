#pragma once

#include <string>

namespace cellscope {

/// The message in `payload`. Of malformed bytes it holds what could be read; the rest of its fields are absent.
template <class Message>
Message parse(const std::string& payload) {
  Message message;
  (void)message.ParseFromString(payload);
  return message;
}

}  // namespace cellscope
