#include "bench/load.h"

#include <sys/epoll.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "hub/base/unix_socket.h"

namespace kelvane_hub::bench {
namespace {

// Read at once from a session: more would let an answer to another wait here, and it would count as the hub's.
constexpr std::size_t most_at_once = std::size_t{32} << 10;

void raise_descriptor_limit() {
  rlimit limit{};
  (void)getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  (void)setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

Time now() { return std::chrono::steady_clock::now().time_since_epoch(); }

Load::Load(std::string socket) : socket_(std::move(socket)), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  raise_descriptor_limit();
}

std::size_t Load::open() {
  UniqueFd socket = new_stream_socket();
  const UnixAddress address(socket_);
  if (!socket || ::connect(socket.get(), address.get(), UnixAddress::size()) != 0) {
    throw std::runtime_error("cannot connect to the hub");
  }
  const auto place = std::ranges::find_if(sessions_, [](const Session& session) { return !session.socket; });
  const auto number = static_cast<std::size_t>(place - sessions_.begin());
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = number;
  (void)epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, socket.get(), &event);
  if (place == sessions_.end()) sessions_.emplace_back();
  sessions_[number] = {std::move(socket), ""};
  send(number, encode_hello());
  return number;
}

std::vector<std::size_t> Load::open(int count) {
  std::vector<std::size_t> opened;
  opened.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) opened.push_back(open());
  return opened;
}

void Load::close(std::size_t session) { sessions_[session] = {}; }

void Load::send(std::size_t session, std::string_view bytes) {
  while (is_open(session) && !bytes.empty()) bytes.remove_prefix(offer(session, bytes));
}

std::size_t Load::offer(std::size_t session, std::string_view bytes) {
  if (!is_open(session)) return 0;
  const ssize_t sent = ::send(sessions_[session].socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent == -1 && errno != EAGAIN) close(session);
  return static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
}

void Load::receive_until(Time end, const OnEvent& on_event) {
  while (now() < end) receive(on_event);
}

void Load::receive(const OnEvent& on_event) {
  std::array<epoll_event, 512> ready;
  const int count = epoll_wait(epoll_.get(), ready.data(), static_cast<int>(ready.size()), 0);
  for (int i = 0; i < count; ++i) read(ready[static_cast<std::size_t>(i)].data.u64, on_event);
}

void Load::read(std::size_t number, const OnEvent& on_event) {
  Session& session = sessions_[number];
  const std::size_t begun = session.rest.size();
  if (buffer_.size() < begun + most_at_once) buffer_.resize(begun + most_at_once);
  const ssize_t received = recv(session.socket.get(), buffer_.data() + begun, most_at_once, MSG_DONTWAIT);
  const Time time = now();
  if (received == -1 && errno == EAGAIN) return;
  if (received <= 0) return close(number);
  std::ranges::copy(session.rest, buffer_.begin());
  std::string_view bytes(buffer_.data(), begun + static_cast<std::size_t>(received));
  while (const auto frame = take_frame(bytes)) {
    if (frame->kind == FrameKind::event) on_event(number, event_in(frame->payload), time);
  }
  session.rest = bytes;
}

}  // namespace kelvane_hub::bench
