// Starting other programs.
#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace kelvane_hub {

/// How a program is started: with the environment of this one and, unless said otherwise, its descriptors and signals.
class Launch {
 public:
  /// `words` are the program and its arguments; a program without a slash is looked for in PATH.
  explicit Launch(std::vector<std::string> words);
  ~Launch();
  Launch(const Launch&) = delete;
  Launch& operator=(const Launch&) = delete;

  // Done in the new process, in the order of the calls.
  /// `descriptor` of this process, which stays open here, is its number `as`.
  void give(int descriptor, int as);
  /// The file at `path`, opened with `flags`, is its number `as`. `path` outlives this object.
  void open(const char* path, int flags, int as);
  /// Nothing is inherited from this number on.
  void close_from(int first);

  /// Every signal at its default and none blocked.
  void reset_signals();

  /// The same, in a process group of its own, but for SIGTTOU, which is blocked: it may write to the terminal that this
  /// process has, whatever `stty tostop` says.
  void detach_from_signals();

  /// Starts it; whoever calls waits for `process`. Returns 0 or the error number.
  int start(pid_t& process);

 private:
  std::vector<std::string> words_;
  posix_spawnattr_t attributes_{};
  posix_spawn_file_actions_t actions_{};
};

/// Waits until the child has ended; returns its status as waitpid() has it.
int wait_for(pid_t child);

/// How a program that was run has ended.
struct Ended {
  int start_error = 0;        // the error number if it could not be started
  std::optional<int> status;  // as waitpid() has it; none: it took too long, and was killed
};

/// Runs a program, looked for in PATH, on these standard streams and waits for it, at most for `patience`. It is in a
/// process group of its own and does not outlive this process; nor does what it has started outlive it, unless this
/// process is killed by SIGKILL. SIGXFSZ ends what makes a file longer than `most_bytes`, also one in memory. To be
/// called while there is one thread; throws std::system_error if this process is out of what it takes to start another.
Ended run_to_end(std::vector<std::string> words, const std::array<int, 3>& streams, std::chrono::milliseconds patience,
                 std::size_t most_bytes);

}  // namespace kelvane_hub
