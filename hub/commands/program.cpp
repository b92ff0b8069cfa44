#include "hub/commands/program.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <system_error>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/process.h"

namespace kelvane_hub {

Program::Program(const std::vector<std::string>& words) {
  Launch launch(words);
  launch.reset_signals();
  if (const int error = launch.start(process_); error != 0) {
    throw InputError(concat("cannot start ", words.front(), ": ", strerror(error)));
  }
  end_ = UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
  if (end_) return;
  const int error = errno;
  signal(SIGKILL);
  (void)wait();
  throw std::system_error(error, std::generic_category(), "cannot wait for a program");
}

Program::~Program() {
  if (process_ == -1 || status_) return;
  signal(SIGKILL);
  (void)wait();
}

void Program::signal(int number) const {
  // As long as nobody has waited for it, its number is nobody else's.
  if (!status_) (void)kill(process_, number);
}

std::string Program::wait() {
  if (!status_) status_ = wait_for(process_);
  if (WIFSIGNALED(*status_)) return concat("signal ", WTERMSIG(*status_));
  return *status_ == 0 ? "" : concat("exit status ", WEXITSTATUS(*status_));
}

bool Program::was_ended_by(int number) const { return WIFSIGNALED(*status_) && WTERMSIG(*status_) == number; }

}  // namespace kelvane_hub
