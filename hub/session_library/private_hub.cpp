#include "hub/session_library/private_hub.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>
#include <string>

#include "hub/base/diagnostic.h"
#include "hub/base/process.h"
#include "hub/base/unix_socket.h"
#include "hub/session_library/hub_program.h"
#include "hub/session_library/signals_blocked.h"
#include "hub/wire/descriptor_passing.h"

namespace kelvane_hub {
namespace {

struct PrivateHub {
  pid_t pid = -1;
  // Each session's connection is handed to the hub through this socket; when it closes, the hub ends.
  UniqueFd control;
};

// Not destroyed by the C++ runtime: a session that the program holds in a global may need it until the very end.
std::mutex mutex;
PrivateHub& private_hub = *new PrivateHub;
std::atomic<bool> process_ends = false;

constexpr int control_fd_in_hub = 3;

bool start() {
  auto [ours, theirs] = socket_pair(SOCK_SEQPACKET);
  const HubProgram program = find_hub_program();
  Launch hub({program.path, "serve", "--control-fd", std::to_string(control_fd_in_hub)});
  hub.detach_from_signals();
  hub.give(theirs.get(), control_fd_in_hub);
  hub.close_from(control_fd_in_hub + 1);
  hub.open("/dev/null", O_RDONLY, STDIN_FILENO);
  hub.open("/dev/null", O_WRONLY, STDOUT_FILENO);
  const int error = hub.start(private_hub.pid);
  if (error != 0) {
    diagnose(library_speaker, "cannot start the hub " + program.path + ": " + strerror(error) + program.looked_in);
    private_hub.pid = -1;
    return false;
  }
  private_hub.control = std::move(ours);
  return true;
}

/// Waits until the process has ended, or `milliseconds` have passed.
void wait_for_end(pid_t pid, int milliseconds) {
  const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  pollfd end{process.get(), POLLIN, 0};
  (void)poll(&end, 1, milliseconds);
}

void stop() {
  if (private_hub.pid == -1) return;
  constexpr int patience_ms = 5000;
  private_hub.control.reset();
  wait_for_end(private_hub.pid, patience_ms);
  // Without effect on one that has ended; one that hangs has nothing to lose.
  (void)kill(private_hub.pid, SIGKILL);
  (void)wait_for(private_hub.pid);
  private_hub.pid = -1;
}

/// Runs after the destructors of the program's globals, so that a session which the program never closed can still be
/// closed by them.
[[gnu::destructor]] void stop_at_exit() {
  const SignalsBlocked signals_blocked;
  const std::lock_guard lock(mutex);
  process_ends = true;
  stop();
}

bool hand_over(const UniqueFd& connection) {
  return private_hub.control && send_descriptor(private_hub.control.get(), connection.get());
}

}  // namespace

bool is_process_ending() { return process_ends; }

UniqueFd connect_to_private_hub() {
  const SignalsBlocked signals_blocked;
  const std::lock_guard lock(mutex);
  if (process_ends) return {};
  auto [ours, theirs] = socket_pair(SOCK_STREAM);
  if (hand_over(theirs)) return std::move(ours);
  stop();
  if (!start()) return {};
  // A hub that has ended already shows in the hello that does not come, like one that ends a moment later.
  (void)hand_over(theirs);
  return std::move(ours);
}

}  // namespace kelvane_hub
