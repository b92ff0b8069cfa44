#include "hub/commands/load_run.h"

#include <cstdio>

#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_reader.h"

namespace kelvane_hub {
namespace {

/// Says of one or more of a kind what they are, and where the first is.
void tell(const std::string& file, const Oddity& oddity, const char* one, const char* several) {
  if (oddity.count == 0) return;
  const bool is_one = oddity.count == 1;
  (void)std::fprintf(stderr, "%s: %zu %s, %sat line %zu: %s\n", file.c_str(), oddity.count, is_one ? one : several,
                     is_one ? "" : "the first ", oddity.line, oddity.first.c_str());
}

/// What is before the reports and between them, but for broken ones.
void tell_lines(const std::string& file, const Run& run, const Oddity& strays) {
  tell(file, strays, "line that is no report was skipped", "lines that are no report were skipped");
  tell(file, run.glued, "report begins behind other text", "reports begin behind other text");
}

/// What is missing at its end.
void tell_end(const std::string& file, const Run& run) {
  if (run.cut_off != 0) tell_cut_off(file, run.cut_off);
  if (run.torn != 0) {
    (void)std::fprintf(
        stderr,
        "%s:%zu: the file ends in the middle of this line, as on a full disk; what was printed after that is missing\n",
        file.c_str(), run.torn);
  }
}

}  // namespace

Run load_run(const std::string& input, Reading reading) {
  return read_run_and_tell(read_input(input), name_of_input(input), reading);
}

Run read_run_and_tell(const std::string& text, const std::string& file, Reading reading) {
  Run run = read_run(text, file, reading);
  believe_and_tell(run, file);
  tell_end(file, run);
  return run;
}

Run load_whole_run(std::string_view text, const std::string& name) {
  Run run = read_run(text, name);
  if (run.broken.count != 0) throw InputError(run.broken.first);
  (void)believe_payloads(run);
  tell_lines(name, run, run.strays);
  tell_end(name, run);
  return run;
}

void tell_cut_off(const std::string& file, std::size_t line) {
  (void)std::fprintf(stderr, "%s:%zu: the report that begins here is cut off, and left out\n", file.c_str(), line);
}

void believe_and_tell(Run& run, const std::string& file) {
  const Oddity others = believe_payloads(run);
  tell_lines(file, run, run.strays + run.diagnosed);
  tell(file, run.broken, "broken report was left out", "broken reports were left out");
  tell(file, others, "report has payload bytes that do not say what is printed, which is taken as it is",
       "reports have payload bytes that do not say what is printed, which is taken as it is");
}

}  // namespace kelvane_hub
