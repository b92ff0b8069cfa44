#include "hub/session_library/private_hub.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "hub/descriptor_passing.h"
#include "hub/session_library/hub_program.h"
#include "hub/session_library/signals_blocked.h"

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

/// A connected pair. Throws std::runtime_error.
std::array<UniqueFd, 2> socket_pair(int type) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()) != 0) throw std::runtime_error(strerror(errno));
  // Both are taken over before either is moved.
  UniqueFd first(ends[0]);
  UniqueFd second(ends[1]);
  return {beside_standard_streams(std::move(first)), beside_standard_streams(std::move(second))};
}

constexpr int control_fd_in_hub = 3;

/// How the child differs from its parent: own process group, default signals, nothing inherited but the control socket
/// and standard error.
class SpawnSettings {
 public:
  explicit SpawnSettings(int control) {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_adddup2(&actions_, control, control_fd_in_hub);
    posix_spawn_file_actions_addclosefrom_np(&actions_, control_fd_in_hub + 1);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  const posix_spawnattr_t* attributes() const { return &attributes_; }
  const posix_spawn_file_actions_t* actions() const { return &actions_; }

 private:
  posix_spawnattr_t attributes_{};
  posix_spawn_file_actions_t actions_{};
};

bool start() {
  auto [ours, theirs] = socket_pair(SOCK_SEQPACKET);
  const HubProgram program = find_hub_program();
  std::vector<std::string> words{program.path, "serve", "--control-fd", std::to_string(control_fd_in_hub)};
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const SpawnSettings settings(theirs.get());
  const int error = posix_spawnp(&private_hub.pid, program.path.c_str(), settings.actions(), settings.attributes(),
                                 arguments.data(), environ);
  if (error != 0) {
    (void)std::fprintf(stderr, "libkelvanesession: cannot start the hub %s: %s%s\n", program.path.c_str(),
                       strerror(error), program.looked_in.c_str());
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
  while (waitpid(private_hub.pid, nullptr, 0) == -1 && errno == EINTR) {
  }
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
