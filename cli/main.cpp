#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

#include "cli/automation.h"
#include "cli/menu.h"

namespace {

/// Where a standard stream is closed, the next file that is opened would get its number, and with it what is printed.
/// Those opened here fail as closed ones do: they go the other way.
void open_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) (void)open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_streams();
  if (argc > 1) {
    cellscope::run_automation(argc, argv);
  } else {
    cellscope::run_menu();
  }
  return 0;
}
