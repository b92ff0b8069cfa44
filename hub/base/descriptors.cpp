#include "hub/base/descriptors.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace kelvane_hub {
namespace {

/// The signal is ignored as long as this lives.
class SignalIgnored {
 public:
  explicit SignalIgnored(int signal) : signal_(signal), before_(std::signal(signal, SIG_IGN)) {}
  SignalIgnored(const SignalIgnored&) = delete;
  SignalIgnored& operator=(const SignalIgnored&) = delete;
  ~SignalIgnored() { (void)std::signal(signal_, before_); }

 private:
  int signal_;
  void (*before_)(int);
};

/// Calls read() or write() by `call` until it has done something. Returns how much.
template <class Call>
std::size_t done(int descriptor, short event, Call call) {
  while (true) {
    const ssize_t size = call();
    if (size >= 0) return static_cast<std::size_t>(size);
    if (errno == EAGAIN) {
      pollfd ready{descriptor, event, 0};
      (void)poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category());
    }
  }
}

}  // namespace

void write_all(std::string_view text, int descriptor) {
  const SignalIgnored broken_pipes(SIGPIPE);
  const SignalIgnored size_limits(SIGXFSZ);
  while (!text.empty()) {
    text.remove_prefix(done(descriptor, POLLOUT, [&] { return write(descriptor, text.data(), text.size()); }));
  }
}

bool read_more(std::string& text, int descriptor) {
  std::array<char, 65536> block;
  const auto size = done(descriptor, POLLIN, [&] { return read(descriptor, block.data(), block.size()); });
  text.append(block.data(), size);
  return size != 0;
}

}  // namespace kelvane_hub
