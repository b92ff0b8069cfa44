// Of the subcommands that read files.
#include <exception>
#include <string>

#include "hub/base/concat.h"
#include "hub/base/diagnostic.h"
#include "hub/base/input_error.h"
#include "hub/option_checks.h"
#include "hub/options.h"

namespace kelvane_hub {

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
  auto* command =
      app.add_subcommand("summary", "Sum up runs, captures, scenarios and drives: times, changes, outages, signal");
  command->footer(
      "Examples:\n"
      "  kelvane-hub summary /data/APT_Automation/drive.txt\n"
      "  kelvane-hub summary monday.txt tuesday.txt --format json | jq '.subscriptions[].cell_changes'\n\n"
      "A file is what its content looks like: an output file of cellscope, a capture, a scenario, or the CSV of a\n"
      "drive-test app.\n");
  command->add_option("file", options.files, "Runs, captures, scenarios and drives; -: standard input")
      ->type_name("FILE")
      ->required();
  command->add_option("--format", options.format, "Form of the summary (default: table)")
      ->type_name("table|json")
      ->check(check_summary_format);
  command->callback([&options] { summary(options); });
}

void add_diff(CLI::App& app, DiffOptions& options, int& status) {
  auto* command =
      app.add_subcommand("diff", "Say what one run, capture, scenario or drive reports that another does not");
  command->footer(
      "Example:\n"
      "  kelvane-hub diff old-firmware.txt new-firmware.txt\n\n"
      "What is reported counts, and its order; when it was does not. Exit status: 0 both report the same; 1 they do "
      "not;\n"
      "2 one of them cannot be read, or standard output does not take all.\n");
  command->add_option("before", options.before, "Run, capture, scenario or drive; -: standard input")
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

}  // namespace kelvane_hub
