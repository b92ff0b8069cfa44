// Of the subcommands that are a hub, or speak to one.
#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/option_checks.h"
#include "hub/options.h"
#include "hub/scenario/timeline.h"

namespace kelvane_hub {
namespace {

CLI::Option* add_seed(CLI::App& command, std::optional<std::uint64_t>& seed) {
  return command
      .add_option("--seed", seed, "Draw all chance in the scenario with the seed N (default: the scenario's)")
      ->type_name("N")
      ->check(check_seed);
}

CLI::Option* add_capture(CLI::App& command, std::string& file) {
  return command.add_option("--capture", file, "Keep what hub and clients say, for dump and Wireshark")
      ->type_name("FILE.pcap")
      ->check(check_capture);
}

}  // namespace

void add_serve(CLI::App& app, ServeOptions& options, bool is_meant) {
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
  // Other commands read the environment, too, and would find fault with what is not theirs.
  const auto variable = [is_meant](const char* name) { return is_meant ? name : ""; };
  command->add_option("--scenario", options.scenario, "Scenario to play (default: the built-in one)")
      ->type_name("FILE")
      ->envname(variable("KELVANE_HUB_SCENARIO"));
  command->add_option("--speed", options.speed, "Play it N times as fast, 0.01 to 10000 (default: 1)")
      ->type_name("N")
      ->check([](const std::string& given) {
        const std::string wrong = check_speed(given);
        return wrong.empty() ? wrong : wrong + " (KELVANE_HUB_SPEED sets it, too)";
      })
      ->envname(variable("KELVANE_HUB_SPEED"));
  add_seed(*command, options.seed)->envname(variable("KELVANE_HUB_SEED"));
  command->add_flag("--explain", options.explain, "Say on standard error why a change was or was not reported")
      ->envname(variable("KELVANE_HUB_EXPLAIN"));
  add_capture(*command, options.capture)->envname(variable("KELVANE_HUB_CAPTURE"));
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

std::vector<std::string> cut_program(int& argc, char** argv) {
  char** const end = argv + argc;
  char** const dashes =
      argc > 1 && std::string_view(argv[1]) == "run" ? std::find(argv, end, std::string_view("--")) : end;
  argc = static_cast<int>(dashes - argv);
  return dashes == end ? std::vector<std::string>() : std::vector<std::string>(dashes + 1, end);
}

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
  command->add_option("--junit", options.junit, "Write what was met as JUnit")->type_name("FILE")->check(check_file);
  add_capture(*command, options.capture);
  command->add_flag("--quiet", options.is_quiet, "Show no progress on a terminal");
  command->add_flag("--explain", options.explain, "Say on standard error why a change was or was not reported");
  command->add_option("--control", options.control, "Socket to make for control (default: one of the run's own)")
      ->type_name("PATH")
      ->check(check_file);
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

void add_monitor(CLI::App& app, MonitorOptions& options) {
  auto* command = app.add_subcommand("monitor", "Say what a running hub and its clients say, a line a message");
  command->footer("Example:\n  kelvane-hub monitor $KELVANE_HUB_SOCKET --filter direction=request\n");
  command->add_option("socket", options.socket, "What serve --listen was given, or KELVANE_HUB_CONTROL is")
      ->type_name("SOCKET")
      ->required();
  add_view(*command, options.view);
  command->callback([&options] { monitor(options); });
}

}  // namespace kelvane_hub
