#include "cli/automation.h"
#include "cli/menu.h"

int main(int argc, char** argv) {
  if (argc > 1) {
    cellscope::run_automation(argc, argv);
  } else {
    cellscope::run_menu();
  }
  return 0;
}
