// The subcommands of kelvane-hub, as they stand on its command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "hub/commands/commands.h"

namespace kelvane_hub {

// Each adds one to `app`, which fills `options` in and carries it out while it parses. Both, and `status`, which
// becomes the exit status if that is not 0, outlive the parsing. What is wrong with a command line, or found to be so
// later, is thrown as CLI11 or the command has it.

/// `is_meant`: the command line has this subcommand.
void add_serve(CLI::App& app, ServeOptions& options, bool is_meant);
void add_control(CLI::App& app, ControlOptions& options, int& status);

/// `options` have the program already, from cut_program().
void add_run(CLI::App& app, RunOptions& options, int& status);
void add_check(CLI::App& app, CheckOptions& options);
void add_import(CLI::App& app, ImportOptions& options);
void add_report(CLI::App& app, ReportOptions& options);
void add_plot(CLI::App& app, PlotOptions& options);
void add_summary(CLI::App& app, SummaryOptions& options);
void add_diff(CLI::App& app, DiffOptions& options, int& status);
void add_dump(CLI::App& app, DumpOptions& options);
void add_monitor(CLI::App& app, MonitorOptions& options);

/// How lines of messages are shown: for add_dump() and add_monitor().
void add_view(CLI::App& command, View& view);

/// What stands behind "--" of `run`, which is taken away: it is another program's command line, of which the parser
/// would take apart what looks like a list.
std::vector<std::string> cut_program(int& argc, char** argv);

}  // namespace kelvane_hub
