// What kelvane-hub does, a function a subcommand. Each runs to its end on the calling thread and throws InputError for
// what its user gave it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hub/capture/lines.h"

namespace kelvane_hub {

struct ServeOptions {
  std::string listen;    // path of a socket to listen on, or empty
  int control_fd = -1;   // or the descriptor through which connections are handed over
  std::string scenario;  // empty: the built-in one
  double speed = 1;      // 0.01 to 10000
  bool explain = false;
  std::optional<std::uint64_t> seed;  // of all chance; absent: the scenario's
  bool restarts = false;              // the scenario, for each first client
  bool exits_at_end = false;          // of the scenario
  std::string capture;                // a file, or empty
  bool trace = false;                 // on standard output
};

struct ControlOptions {
  std::string socket;                // of clients, or the one beside it
  std::vector<std::string> command;  // none: commands come from standard input
};

struct RunOptions {
  std::string scenario;
  double speed = 1;                   // 0.01 to 10000, or Pace::at_once
  std::optional<std::int64_t> times;  // absent: as the scenario says, or once
  std::optional<std::uint64_t> seed;  // of all chance; absent: the scenario's
  std::optional<double> timeout;      // seconds
  bool tap = false;
  std::string junit;    // a file, "-": standard output, or empty: none
  std::string capture;  // a file, or empty
  bool is_quiet = false;
  bool explain = false;
  std::string control;               // socket to make for orders; empty: one beside the clients'
  std::vector<std::string> program;  // and its arguments
};

struct CheckOptions {
  std::string file;
  double speed = 1;  // 0.01 to 10000
};

struct ImportOptions {
  std::string input;                       // "-": standard input
  std::string output;                      // "-": standard output
  std::string from{};                      // csv, run or capture; empty: as its content says
  std::optional<std::uint32_t> session{};  // of capture only
  // Of csv only.
  std::optional<std::string> profile;  // a path with a slash, or the name of one that is installed
  // As the user wrote them.
  std::vector<std::string> columns;  // RSRP=rsrp_dbm
  std::vector<std::string> modes;    // NR_SA=5G
  std::optional<std::string> plmn;   // 272-01
};

struct ReportOptions {
  std::string file;  // "-": standard input
  std::string format = "json";
  std::string output;      // empty or "-": standard output
  bool is_strict = false;  // whatever is no report is an error
  bool follows = false;    // goes on as the file grows; writes to standard output, and is not strict
};

struct SummaryOptions {
  std::vector<std::string> files;  // runs, scenarios or drives; "-": standard input
  std::string format = "table";    // or "json"
};

struct DiffOptions {
  std::string before;  // both of a run, a scenario, a drive or a capture; "-": standard input
  std::string after;
  std::optional<double> tolerance;  // seconds; absent: times do not count
};

struct DumpOptions {
  std::string file;  // "-": standard input
  View view;
};

struct MonitorOptions {
  std::string socket;  // of clients, or the one beside it
  View view;
};

struct PlotOptions {
  std::string file;    // of a run ("-": standard input), or a scenario if it ends with .textproto
  std::string output;  // "-": standard output
  std::optional<double> from;
  std::optional<double> to;
  std::optional<std::uint32_t> sub;
};

/// Serves until a signal ends it, or until the process that hands over connections has gone.
void serve(const ServeOptions& options);

/// Gives commands to a running hub, and says on standard output what it answers. Returns whether all were carried out.
/// Throws InputError if the hub cannot be reached.
bool control(const ControlOptions& options);

/// Plays a scenario to a program, which it starts and stops, and judges it. Returns whether all was as expected. Throws
/// what keeps it from being run.
bool run(const RunOptions& options);

/// Says on standard output what is in a scenario, and on standard error what in it can hardly be meant.
void check(const CheckOptions& options);

void import(const ImportOptions& options);
void report(const ReportOptions& options);
void plot(const PlotOptions& options);

/// Says on standard output how the time of each file was spent, and what was measured.
void summary(const SummaryOptions& options);

/// Says on standard output what one file reports that the other does not. Returns whether both report the same.
bool diff(const DiffOptions& options);

/// Reports each event on standard output as soon as it is whole, until SIGINT comes or a pipe ends.
void follow(const ReportOptions& options);
/// Says on standard output what a capture holds, a line a message as they come, and on standard error if it is cut off.
void dump(const DumpOptions& options);

/// Says on standard output what a running hub and its clients say, a line a message, until the hub ends; on standard
/// error how many messages it was not told of. Throws UsageError if the hub cannot be reached.
void monitor(const MonitorOptions& options);

}  // namespace kelvane_hub
