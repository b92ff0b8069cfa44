// Time from process start to the first request, and peak memory, of the client and of an empty program that links the
// same libraries:
//
//   start_bench CLIENT EMPTY FOLDER_OF_EXITING_LIBRARY
//
// The two take turns; best and median of many starts.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

struct Program {
  const char* path;
  std::vector<double> milliseconds;
  long peak_kib = 0;
};

void start_once(Program& program, const posix_spawn_file_actions_t& quiet) {
  char operation[] = "operation=1";
  char* arguments[] = {const_cast<char*>(program.path), operation, nullptr};
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = -1;
  if (posix_spawn(&pid, program.path, &quiet, nullptr, arguments, environ) != 0) std::abort();
  int status = 0;
  rusage usage{};
  (void)wait4(pid, &status, 0, &usage);
  if (status != 0) {
    (void)std::fprintf(stderr, "%s ended with status %d\n", program.path, status);
    std::exit(1);
  }
  program.milliseconds.push_back(
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  program.peak_kib = std::max(program.peak_kib, usage.ru_maxrss);
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int starts = 200;
  if (argc != 4) return 2;
  (void)setenv("LD_LIBRARY_PATH", argv[3], 1);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  Program programs[] = {{argv[1], {}}, {argv[2], {}}};
  for (int i = 0; i < starts; ++i) {
    for (auto& program : programs) start_once(program, quiet);
  }
  for (auto& program : programs) {
    std::sort(program.milliseconds.begin(), program.milliseconds.end());
    (void)std::printf("%s: best %.2f ms, median %.2f ms, peak %ld KiB\n", program.path, program.milliseconds.front(),
                      program.milliseconds[starts / 2], program.peak_kib);
  }
}
