// kelvane-hub: a simulated sensor hub, and tools for what it plays.

#include <fcntl.h>
#include <google/protobuf/stubs/common.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/diagnostic.h"
#include "hub/base/input_error.h"
#include "hub/base/line_queue.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/option_checks.h"
#include "hub/scenario/timeline.h"
#include "hub/usage.h"

namespace kelvane_hub {
namespace {

CLI::Option* add_seed(CLI::App& command, std::optional<std::uint64_t>& seed) {
  return command
      .add_option("--seed", seed, "Draw all chance in the scenario with the seed N (default: the scenario's)")
      ->type_name("N")
      ->check(check_seed);
}

void add_serve(CLI::App& app, ServeOptions& options) {
  auto* command = app.add_subcommand("serve", "Play a scenario to the clients of a Unix socket");
  command->footer(
      "Example:\n"
      "  export KELVANE_HUB_SOCKET=$XDG_RUNTIME_DIR/kelvane-hub.sock\n"
      "  kelvane-hub serve --listen $KELVANE_HUB_SOCKET --scenario drive.textproto --speed 10 &\n"
      "  cellscope\n\n"
      "The socket belongs into a folder of one's own, as that one is. "
      "Scenario time starts when a client first configures a sensor. SIGINT or SIGTERM ends the hub.\n");
  auto* listen =
      command->add_option("--listen", options.listen, "Socket to listen on; only the user who runs the hub can connect")
          ->type_name("PATH");
  // For the session library, which starts private hubs: connections come through this descriptor. Not in the help.
  command->add_option("--control-fd", options.control_fd)->group("")->check(CLI::NonNegativeNumber);
  command->add_option("--scenario", options.scenario, "Scenario to play (default: the built-in one)")
      ->type_name("FILE")
      ->envname("KELVANE_HUB_SCENARIO");
  command->add_option("--speed", options.speed, "Play it N times as fast, 0.01 to 10000 (default: 1)")
      ->type_name("N")
      ->check([](const std::string& given) {
        const std::string wrong = check_speed(given);
        return wrong.empty() ? wrong : wrong + " (KELVANE_HUB_SPEED sets it, too)";
      })
      ->envname("KELVANE_HUB_SPEED");
  add_seed(*command, options.seed)->envname("KELVANE_HUB_SEED");
  command->add_flag("--explain", options.explain, "Say on standard error why a change was or was not reported")
      ->envname("KELVANE_HUB_EXPLAIN");
  command->add_option("--capture", options.capture, "Keep what hub and clients say, for dump and Wireshark")
      ->type_name("FILE.pcap")
      ->envname("KELVANE_HUB_CAPTURE");
  command->add_flag("--trace", options.trace, "Print what hub and clients say, a line a message");
  command->add_flag("--restart", options.restarts,
                    "Begin the scenario anew for each client that comes when none is left");
  command->add_flag("--exit-at-end", options.exits_at_end,
                    "End when the scenario is over and clients have taken all of it");
  command->callback([listen, &options] {
    // One of the two: connections come through a socket, or from the process that has started this one.
    listen->required(options.control_fd == -1);
    if (options.listen.empty() == (options.control_fd == -1)) throw CLI::RequiredError(listen->get_name());
    serve(options);
  });
}

void add_control(CLI::App& app, ControlOptions& options, int& status) {
  auto* command = app.add_subcommand("control", "Give commands to a running hub");
  command->footer(
      "Examples:\n"
      "  kelvane-hub control $KELVANE_HUB_SOCKET set rsrp=-105\n"
      "  kelvane-hub control $KELVANE_HUB_SOCKET help\n\n"
      "Without a command, reads commands from standard input, a line each. Exit status: 0 all were carried out; 1 one "
      "was\n"
      "not; 2 the hub cannot be reached.\n");
  command->add_option("socket", options.socket, "What serve --listen was given, or KELVANE_HUB_CONTROL is")
      ->type_name("SOCKET")
      ->required();
  command->add_option("command", options.command, "Command to give, with its values; help lists them all")
      ->type_name("COMMAND");
  command->positionals_at_end()->callback([&options, &status] {
    try {
      status = control(options) ? 0 : 1;
    } catch (const InputError& error) {
      throw UsageError(error.what());
    }
  });
}

/// What stands behind "--" of `run`, which is taken away: it is another program's command line, of which the parser
/// would take apart what looks like a list.
std::vector<std::string> cut_program(int& argc, char** argv) {
  char** const end = argv + argc;
  char** const dashes =
      argc > 1 && std::string_view(argv[1]) == "run" ? std::find(argv, end, std::string_view("--")) : end;
  argc = static_cast<int>(dashes - argv);
  return dashes == end ? std::vector<std::string>() : std::vector<std::string>(dashes + 1, end);
}

/// `options` have the program already.
void add_run(CLI::App& app, RunOptions& options, int& status) {
  auto* command = app.add_subcommand("run", "Play a scenario to a program and judge it");
  command->footer(
      "Example:\n"
      "  kelvane-hub run scenarios/idle_camping.textproto --speed 10 -- cellscope operation=1 request_id=1\n\n"
      "Starts the program, stops it with SIGINT when the scenario is over, and says which of the scenario's "
      "expectations\n"
      "were not met. Exit status: 0 all were and the program ended with 0; 1 something was not; 2 it could not be "
      "run.\n");
  command->add_option("scenario", options.scenario, "Scenario to play")->type_name("SCENARIO")->required();
  // For the help: what it is given was not behind "--".
  const auto* before = command->add_option("program", "Program to start, with its arguments, after --");
  command->get_option("program")->type_name("PROGRAM")->expected(1, -1);
  auto* speed =
      command->add_option("--speed", "Play it N times as fast, 0.01 to 10000, or as fast as can be (default: 1)");
  speed->type_name("N|max")->check(check_run_speed);
  command->add_option("--times", options.times, "Play a scenario that begins anew N times (default: as it says, or 1)")
      ->type_name("N")
      ->check(check_times);
  add_seed(*command, options.seed);
  command->add_option("--timeout", options.timeout, "Give it S seconds at most (default: a minute more than it takes)")
      ->type_name("S")
      ->check(check_timeout);
  command->add_flag("--tap", options.tap, "Say what was met in the Test Anything Protocol, on standard output");
  command->add_option("--junit", options.junit, "Write what was met as JUnit")->type_name("FILE");
  command->add_option("--capture", options.capture, "Keep what hub and clients say, for dump and Wireshark")
      ->type_name("FILE.pcap");
  command->add_flag("--quiet", options.is_quiet, "Show no progress on a terminal");
  command->add_flag("--explain", options.explain, "Say on standard error why a change was or was not reported");
  command->add_option("--control", options.control, "Socket to make for control (default: one of the run's own)")
      ->type_name("PATH");
  command->callback([before, speed, &options, &status] {
    if (before->count() > 0) {
      throw UsageError("kelvane-hub run: expected -- before PROGRAM, found " +
                       kelvane_hub::quoted(before->results()[0]));
    }
    if (options.program.empty()) throw UsageError("kelvane-hub run: expected PROGRAM after --, found none");
    if (options.tap && options.junit == "-") {
      throw UsageError("kelvane-hub run: expected one of --tap and --junit on standard output, found both");
    }
    if (speed->count() > 0) options.speed = speed->as<std::string>() == "max" ? Pace::at_once : speed->as<double>();
    try {
      status = run(options) ? 0 : 1;
    } catch (const std::exception& error) {
      throw UsageError(error.what());
    }
  });
}

void add_check(CLI::App& app, CheckOptions& options) {
  auto* command = app.add_subcommand("check", "Validate a scenario and say what is in it");
  command->footer("Example:\n  kelvane-hub check drive.textproto\n");
  command->add_option("file", options.file, "Scenario to check")->type_name("FILE")->required();
  command->add_option("--speed", options.speed, "Say how long it takes N times as fast, 0.01 to 10000")
      ->type_name("N")
      ->check(check_speed);
  command->callback([&options] { check(options); });
}

void add_import(CLI::App& app, ImportOptions& options) {
  auto* command = app.add_subcommand(
      "import", "Turn the CSV export of a drive-test app, a run of cellscope or a capture into a scenario");
  command->footer(
      "Example:\n"
      "  kelvane-hub import drive.csv -o drive.textproto --plmn 272-01\n"
      "  KELVANE_HUB_SCENARIO=drive.textproto cellscope operation=1 request_id=1\n"
      "  kelvane-hub import /data/APT_Automation/drive.txt -o again.textproto\n"
      "  kelvane-hub import run.pcap -o again.textproto\n\n"
      "What was read, and what was left out, is said on standard error.\n");
  command->add_option("file", options.input, "Recording, run or capture to import; -: standard input")
      ->type_name("FILE")
      ->required();
  command->add_option("-o,--output", options.output, "Scenario to write; -: standard output")
      ->type_name("FILE.textproto")
      ->required();
  command->add_option("--from", options.from, "What the file is (default: as its content says)")
      ->type_name("csv|run|capture")
      ->check(check_source);
  command
      ->add_option("--session", options.session, "Session of a capture (default: the first that configures a sensor)")
      ->type_name("N")
      ->check(check_session);
  command
      ->add_option("--profile", options.profile,
                   "What the app calls things: an installed profile or, with a slash, a file")
      ->type_name("PROFILE");
  command->add_option("--column", options.columns, "A column's other name, as RSRP=rsrp_dbm; may be repeated")
      ->type_name("NAME=COLUMN")
      ->allow_extra_args(false);
  command->add_option("--mode", options.modes, "A mode's other name, as NR_SA=5G; may be repeated")
      ->type_name("THEIRS=OURS")
      ->allow_extra_args(false);
  command->add_option("--plmn", options.plmn, "Network of the serving cells (default: left out)")->type_name("MCC-MNC");
  command->callback([&options] { import(options); });
}

void add_report(CLI::App& app, ReportOptions& options) {
  auto* command =
      app.add_subcommand("report", "Turn an output file or a saved console session of cellscope into JSON or CSV");
  command->footer(
      "Examples:\n"
      "  kelvane-hub report /data/APT_Automation/drive.txt | jq 'select(.event == \"voice_calls\")'\n"
      "  kelvane-hub report drive.txt --format csv -o drive.csv\n"
      "  adb shell cat /data/APT_Automation/drive.txt | kelvane-hub report -\n"
      "  kelvane-hub report -f /data/APT_Automation/drive.txt\n\n"
      "JSON is an object an event, each on a line. CSV is a row a cell, a call, or an event without either.\n");
  command->add_option("file", options.file, "Output file of a run; -: standard input")->type_name("FILE")->required();
  command->add_option("--format", options.format, "Form of the report (default: json)")
      ->type_name("json|csv")
      ->check(check_format);
  auto* const output =
      command->add_option("-o,--output", options.output, "File to write (-, the default: standard output)")
          ->type_name("FILE");
  auto* const strict = command->add_flag("--strict", options.is_strict,
                                         "End at the first line that is no report, instead of skipping it");
  command->add_flag("-f,--follow", options.follows, "Go on as the file grows, until SIGINT");
  command->callback([&options, output, strict] {
    for (const CLI::Option* const other : {output, strict}) {
      if (!options.follows || other->count() == 0) continue;
      throw CLI::ValidationError("--follow", concat("expected no ", other->get_name(), " beside it, found one"));
    }
    options.follows ? follow(options) : report(options);
  });
}

void add_summary(CLI::App& app, SummaryOptions& options) {
  auto* command = app.add_subcommand("summary", "Sum up runs, scenarios and drives: times, changes, outages, signal");
  command->footer(
      "Examples:\n"
      "  kelvane-hub summary /data/APT_Automation/drive.txt\n"
      "  kelvane-hub summary monday.txt tuesday.txt --format json | jq '.subscriptions[].cell_changes'\n\n"
      "A file is what its content looks like: an output file of cellscope, a scenario, or the CSV of a drive-test "
      "app.\n");
  command->add_option("file", options.files, "Runs, scenarios and drives; -: standard input")
      ->type_name("FILE")
      ->required();
  command->add_option("--format", options.format, "Form of the summary (default: table)")
      ->type_name("table|json")
      ->check(check_summary_format);
  command->callback([&options] { summary(options); });
}

void add_diff(CLI::App& app, DiffOptions& options, int& status) {
  auto* command = app.add_subcommand("diff", "Say what one run, scenario or drive reports that another does not");
  command->footer(
      "Example:\n"
      "  kelvane-hub diff old-firmware.txt new-firmware.txt\n\n"
      "What is reported counts, and its order; when it was does not. Exit status: 0 both report the same; 1 they do "
      "not;\n"
      "2 one of them cannot be read.\n");
  command->add_option("before", options.before, "Run, scenario or drive; -: standard input")
      ->type_name("FILE")
      ->required();
  command->add_option("after", options.after, "What is compared to it")->type_name("FILE")->required();
  command->add_option("--times", options.tolerance, "Also tell what comes more than so many seconds off")
      ->type_name("S")
      ->check(check_timeout);
  command->callback([&options, &status] {
    try {
      status = diff(options) ? 0 : 1;
    } catch (const InputError& error) {
      throw UsageError(error.what());
    } catch (const std::exception& error) {
      throw UsageError(concat(hub_speaker, ": ", error.what()));
    }
  });
}

void add_plot(CLI::App& app, PlotOptions& options) {
  auto* command = app.add_subcommand("plot", "Draw an output file of cellscope, or a scenario");
  command->footer(
      "Examples:\n"
      "  kelvane-hub plot /data/APT_Automation/drive.txt -o drive.svg\n"
      "  kelvane-hub plot drive.textproto -o minute.png --from 60 --to 120\n\n"
      "The serving cell's signal and its quality over time, by technology, with changes of the cell, outages, calls, "
      "RRC\n"
      "states and high-speed rail. A file whose name ends with .textproto is a scenario.\n");
  command->add_option("file", options.file, "Output file of a run (-: standard input) or scenario")
      ->type_name("FILE")
      ->required();
  command->add_option("-o,--output", options.output, "Picture to write: .svg, .png or .pdf; -: SVG to standard output")
      ->type_name("FILE")
      ->required();
  command->add_option("--from", options.from, "Begin at so many seconds")->type_name("S")->check(check_place);
  command->add_option("--to", options.to, "End at so many seconds")->type_name("S")->check(check_place);
  command->add_option("--sub", options.sub, "Only that subscription")->type_name("N")->check(check_sub);
  command->callback([&options] {
    if (options.to && *options.to <= options.from.value_or(0)) {
      throw CLI::ValidationError("--to", concat("expected more than ", options.from.value_or(0),
                                                ", where the picture begins, found ", *options.to));
    }
    plot(options);
  });
}

void add_view(CLI::App& command, View& view) {
  command.add_option("--format", view.format, "Form of the lines (default: text)")
      ->type_name("text|json")
      ->check(check_line_format);
  command
      .add_option(
          "--filter", view.filter,
          "Only session=N, msg_id=N, name=NAME or direction=request|event; several with commas; may be repeated")
      ->type_name("TERM")
      ->check(check_filter)
      ->allow_extra_args(false);
  command.add_flag("--mask", view.masks, "Hide which cells and networks these are");
}

void add_dump(CLI::App& app, DumpOptions& options) {
  auto* command = app.add_subcommand("dump", "Say what a capture holds, a line a message");
  command->footer(
      "Examples:\n"
      "  KELVANE_HUB_CAPTURE=drive.pcap cellscope operation=1 request_id=1\n"
      "  kelvane-hub dump drive.pcap --filter name=serving_neighboring_cell_info --mask\n");
  command->add_option("file", options.file, "Capture to read; -: standard input")->type_name("FILE.pcap")->required();
  add_view(*command, options.view);
  command->callback([&options] { dump(options); });
}

void add_monitor(CLI::App& app, MonitorOptions& options) {
  auto* command = app.add_subcommand("monitor", "Say what a running hub and its clients say, a line a message");
  command->footer("Example:\n  kelvane-hub monitor $KELVANE_HUB_SOCKET --filter direction=request\n");
  command->add_option("socket", options.socket, "What serve --listen was given, or KELVANE_HUB_CONTROL is")
      ->type_name("SOCKET")
      ->required();
  add_view(*command, options.view);
  command->callback([&options] { monitor(options); });
}

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
  add_serve(app, serve_options);
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
