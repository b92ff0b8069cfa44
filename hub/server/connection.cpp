#include "hub/server/connection.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace kelvane_hub {

Connection::Connection(UniqueFd socket) : socket_(std::move(socket)) {
  (void)fcntl(socket_.get(), F_SETFL, fcntl(socket_.get(), F_GETFL) | O_NONBLOCK);
}

void Connection::read(const HandleRequest& handle) {
  std::array<char, 65536> buffer;
  const ssize_t received = recv(socket_.get(), buffer.data(), buffer.size(), 0);
  if (received == -1 && (errno == EAGAIN || errno == EINTR)) return;
  if (received <= 0) return end(reader_.in_frame() ? "it ended the connection in the middle of a frame" : "");
  try {
    reader_.append({buffer.data(), static_cast<std::size_t>(received)});
    take_frames(handle);
  } catch (const WireError& error) {
    end(error.what());
  }
}

void Connection::take_frames(const HandleRequest& handle) {
  while (!ended_) {
    const auto frame = reader_.next();
    if (!frame) return;
    if (!said_hello_) {
      expect_hello(*frame);
      said_hello_ = true;
      reader_.set_limit(max_request);
      queue(encode_hello());
    } else if (frame->kind == FrameKind::request) {
      handle(frame->sensor, frame->payload);
    } else {
      throw WireError("expected a request, found a frame of another kind");
    }
  }
}

void Connection::send_event(suid sensor, const std::string& message) {
  if (ended_) return;
  if (message.size() > max_payload) return end("an event for it was too large to send");
  queue(encode_frame(FrameKind::event, sensor, message));
}

void Connection::queue(const std::string& bytes) {
  if (ended_) return;
  if (unsent_.size() - written_ + bytes.size() > most_unsent) {
    return end("it left " + std::to_string(unsent_.size() - written_) + " bytes of events waiting");
  }
  unsent_ += bytes;
}

void Connection::write() {
  while (wants_to_write()) {
    const ssize_t sent = ::send(socket_.get(), unsent_.data() + written_, unsent_.size() - written_, MSG_NOSIGNAL);
    if (sent == -1 && errno == EINTR) continue;
    if (sent == -1 && errno == EAGAIN) break;
    if (sent == -1) {
      unsent_.clear();
      written_ = 0;
      return ended_ ? void() : end("");
    }
    written_ += static_cast<std::size_t>(sent);
  }
  if (written_ > unsent_.size() / 2) {
    unsent_.erase(0, written_);
    written_ = 0;
  }
}

void Connection::end(std::string complaint) {
  ended_ = true;
  complaint_ = std::move(complaint);
}

}  // namespace kelvane_hub
