#include "hub/session_library/private_hub.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>

#include "hub/base/process.h"
#include "hub/base/signals_blocked.h"
#include "hub/base/unix_socket.h"
#include "hub/session_library/hub_program.h"
#include "hub/wire/descriptor_passing.h"

namespace kelvane_hub {
namespace {

struct PrivateHub {
  std::shared_ptr<Child> process;
  // Each session's connection is handed to the hub through this socket; when it closes, the hub ends.
  UniqueFd control;
};

// Not destroyed by the C++ runtime: a session that the program holds in a global may need it until the very end.
std::mutex mutex;
PrivateHub& private_hub = *new PrivateHub;
std::atomic<bool> process_ends = false;

constexpr int control_fd_in_hub = 3;

/// Otherwise the hub would not end before the child of a fork has ended, too.
void forget_in_forks() {
  static const int registered = pthread_atfork([] { mutex.lock(); }, [] { mutex.unlock(); },
                                               [] {
                                                 private_hub = {};
                                                 mutex.unlock();
                                               });
  if (registered != 0) throw std::runtime_error(strerror(registered));
}

void start() {
  forget_in_forks();
  auto [ours, theirs] = socket_pair(SOCK_SEQPACKET);
  const HubProgram program = find_hub_program();
  Launch hub({program.path, "serve", "--control-fd", std::to_string(control_fd_in_hub)});
  hub.detach_from_signals();
  hub.give(theirs.get(), control_fd_in_hub);
  hub.close_from(control_fd_in_hub + 1);
  hub.open("/dev/null", O_RDONLY, STDIN_FILENO);
  hub.open("/dev/null", O_WRONLY, STDOUT_FILENO);
  pid_t process = -1;
  if (const int error = hub.start(process); error != 0) {
    throw std::runtime_error("cannot start " + program.path + ": " + strerror(error) + program.looked_in);
  }
  private_hub.process = std::make_shared<Child>(process);
  private_hub.control = std::move(ours);
}

void stop() {
  if (!private_hub.process) return;
  private_hub.control.reset();
  // One that hangs has nothing to lose.
  if (!private_hub.process->wait_for_end(hub_end_patience)) private_hub.process->kill();
  (void)private_hub.process->wait_for_end(hub_end_patience);
  private_hub.process.reset();
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
  return private_hub.process && !private_hub.process->wait_for_end({}) &&
         send_descriptor(private_hub.control.get(), connection.get());
}

}  // namespace

bool is_process_ending() { return process_ends; }

PrivateConnection connect_to_private_hub() {
  const SignalsBlocked signals_blocked;
  const std::lock_guard lock(mutex);
  if (process_ends) throw std::runtime_error("this process is ending");
  auto [ours, theirs] = socket_pair(SOCK_STREAM);
  if (hand_over(theirs)) return {std::move(ours), private_hub.process, false};
  stop();
  start();
  // A hub that has ended already shows in the hello that does not come, like one that ends a moment later.
  (void)hand_over(theirs);
  return {std::move(ours), private_hub.process, true};
}

}  // namespace kelvane_hub
