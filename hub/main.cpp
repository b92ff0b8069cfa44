// kelvane-hub: a simulated sensor hub, and tools for what it plays.

#include <fcntl.h>
#include <google/protobuf/stubs/common.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>

#include "hub/base/concat.h"
#include "hub/base/diagnostic.h"
#include "hub/base/input_error.h"
#include "hub/base/line_queue.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/options.h"
#include "hub/usage.h"

namespace kelvane_hub {
namespace {

// Of the exit statuses: the command line was wrong. 1 is for everything else that fails.
constexpr int usage_status = 2;

int run_command(int argc, char** argv) {
  CLI::App app("A simulated sensor hub for cellscope, and tools for the scenarios that it plays.", "kelvane-hub");
  app.footer("`kelvane-hub COMMAND --help` tells more of each command, with an example.");
  app.set_version_flag("--version", CELLSCOPE_VERSION);
  app.require_subcommand(1);
  int status = 0;
  ServeOptions serve_options;
  ControlOptions control_options;
  RunOptions run_options;
  run_options.program = cut_program(argc, argv);
  ImportOptions import_options;
  ReportOptions report_options;
  PlotOptions plot_options;
  SummaryOptions summary_options;
  DiffOptions diff_options;
  DumpOptions dump_options;
  MonitorOptions monitor_options;
  CheckOptions check_options;
  add_serve(app, serve_options, argc > 1 && std::string_view(argv[1]) == "serve");
  add_control(app, control_options, status);
  add_run(app, run_options, status);
  add_check(app, check_options);
  add_import(app, import_options);
  add_report(app, report_options);
  add_plot(app, plot_options);
  add_summary(app, summary_options);
  add_diff(app, diff_options, status);
  add_dump(app, dump_options);
  add_monitor(app, monitor_options);
  try {
    app.parse(argc, argv);
    return status;
  } catch (const CLI::Success& help) {
    std::ostringstream text;
    status = app.exit(help, text);
    write_output(text.str(), "-");
    return status;
  } catch (const CLI::ParseError& error) {
    throw UsageError(usage_error(app, error));
  }
}

/// Whether a session library has started this process, and may be gone before it ends.
bool is_private(int argc, char** argv) {
  return std::any_of(argv, argv + argc, [](const char* word) { return std::string_view(word) == "--control-fd"; });
}

/// Says it on standard error. A private hub does not wait for whoever should read that.
void tell(const std::string& text, bool is_private) {
  if (!is_private) {
    (void)std::fprintf(stderr, "%s\n", text.c_str());
    return;
  }
  static constexpr LineCause causes[] = {{"the command line", 1}};
  LineQueue(STDERR_FILENO, "", causes).say(0, text);
}

/// Where a standard stream is closed, a client's socket would get its number, and what is printed.
void open_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // What cannot be read from standard input or written to standard output is told.
    const int flags = stream == STDOUT_FILENO ? O_RDONLY : O_WRONLY;
    if (fcntl(stream, F_GETFD) == -1) (void)open("/dev/null", flags);
  }
}

}  // namespace
}  // namespace kelvane_hub

int main(int argc, char** argv) {
  kelvane_hub::open_standard_streams();
  const bool is_private = kelvane_hub::is_private(argc, argv);
  int status = 1;
  try {
    status = kelvane_hub::run_command(argc, argv);
  } catch (const kelvane_hub::UsageError& error) {
    kelvane_hub::tell(error.what(), is_private);
    status = kelvane_hub::usage_status;
  } catch (const kelvane_hub::AlreadyTold&) {
  } catch (const kelvane_hub::InputError& error) {
    kelvane_hub::tell(error.what(), is_private);
  } catch (const std::exception& error) {
    kelvane_hub::tell(kelvane_hub::concat(kelvane_hub::hub_speaker, ": ", error.what()), is_private);
  }
  // Or else leak checkers take the library's tables for lost.
  google::protobuf::ShutdownProtobufLibrary();
  return status;
}
