#include "hub/base/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace kelvane_hub {

Launch::Launch(std::vector<std::string> words) : words_(std::move(words)) {
  posix_spawnattr_init(&attributes_);
  posix_spawn_file_actions_init(&actions_);
}

Launch::~Launch() {
  posix_spawn_file_actions_destroy(&actions_);
  posix_spawnattr_destroy(&attributes_);
}

void Launch::give(int descriptor, int as) { posix_spawn_file_actions_adddup2(&actions_, descriptor, as); }

void Launch::open(const char* path, int flags, int as) {
  posix_spawn_file_actions_addopen(&actions_, as, path, flags, 0);
}

void Launch::close_from(int first) { posix_spawn_file_actions_addclosefrom_np(&actions_, first); }

void Launch::reset_signals() {
  sigset_t all;
  sigset_t none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigdefault(&attributes_, &all);
  posix_spawnattr_setsigmask(&attributes_, &none);
}

void Launch::detach_from_signals() {
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTTOU);
  reset_signals();
  posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigmask(&attributes_, &blocked);
}

int Launch::start(pid_t& process) {
  std::vector<char*> arguments;
  arguments.reserve(words_.size() + 1);
  for (std::string& word : words_) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  return posix_spawnp(&process, words_.front().c_str(), &actions_, &attributes_, arguments.data(), environ);
}

int wait_for(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
}

}  // namespace kelvane_hub
