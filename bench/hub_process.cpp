#include "bench/hub_process.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <stdexcept>

#include "hub/base/files.h"
#include "hub/base/process.h"
#include "hub/base/unix_socket.h"

namespace kelvane_hub::bench {
namespace {

cpu_set_t for_hubs;
bool processors_are_split = false;

cpu_set_t only(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(processor, &set);
  return set;
}

std::filesystem::path make_folder() {
  std::string name = std::filesystem::temp_directory_path() / "hub_load.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make the folder " + name);
  return name;
}

}  // namespace

bool split_processors() {
  cpu_set_t all;
  if (sched_getaffinity(0, sizeof all, &all) != 0 || CPU_COUNT(&all) < 2) return false;
  int first = 0;
  while (!CPU_ISSET(first, &all)) ++first;
  int last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &all)) --last;
  for_hubs = only(first);
  const cpu_set_t own = only(last);
  processors_are_split = sched_setaffinity(0, sizeof own, &own) == 0;
  return processors_are_split;
}

HubProcess::HubProcess(const std::string& program, const std::string& scenario) : folder_(make_folder()) {
  try {
    write_file(scenario, folder_ / "load.textproto");
    start(program);
  } catch (...) {
    end();
    throw;
  }
}

void HubProcess::start(const std::string& program) {
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe to be had");
  const UniqueFd said(pipe_ends[0]);
  UniqueFd says(pipe_ends[1]);
  Launch launch({program, "serve", "--listen", socket(), "--scenario", folder_ / "load.textproto"});
  launch.give(says.get(), STDOUT_FILENO);
  launch.open("/dev/null", O_WRONLY, STDERR_FILENO);
  if (launch.start(process_) != 0) {
    process_ = -1;
    throw std::runtime_error("cannot start " + program);
  }
  says.reset();
  if (processors_are_split) (void)sched_setaffinity(process_, sizeof for_hubs, &for_hubs);
  if (char first = 0; ::read(said.get(), &first, 1) != 1) throw std::runtime_error(program + " does not listen");
  if (clock_getcpuclockid(process_, &clock_) != 0) throw std::runtime_error(program + " has ended");
}

HubProcess::~HubProcess() { end(); }

void HubProcess::end() {
  if (process_ != -1) {
    (void)kill(process_, SIGKILL);
    (void)wait_for(process_);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

Time HubProcess::processor_time() const {
  timespec time{};
  if (clock_gettime(clock_, &time) != 0) throw std::runtime_error("the hub has ended");
  return std::chrono::seconds(time.tv_sec) + Time(time.tv_nsec);
}

}  // namespace kelvane_hub::bench
