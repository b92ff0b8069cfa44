// The lines of a run that belong to reports.
#pragma once

#include <string>
#include <string_view>

#include "hub/report/line_scanner.h"
#include "hub/report/run.h"
#include "hub/report/run_reader.h"

namespace kelvane_hub {

/// The file ends in the middle of a report.
struct CutOff {};

/// What is expected where no report goes on.
inline constexpr const char* beginning_of_report = "the beginning of a report (Payload size: … or Log Time: …)";

/// Goes through a file, past the lines of the main thread and, if it is tolerant, past all that is like no line of a
/// report; the run hears of both. Refers to what it is given.
class RunLines {
 public:
  /// `text` begins in line `first` of the file.
  RunLines(std::string_view text, const std::string& file, Reading reading, Run& run, std::size_t first = 1)
      : rest_(text), file_(file), tolerant_(reading == Reading::tolerant), run_(run), number_(first) {}

  bool at_end();
  std::size_t number();  // of the line that comes next, from 1

  // These throw CutOff if there is no whole line any more.
  LineScanner peek();
  LineScanner next();
  /// The next line, or if blank ones are tolerated the next that is not.
  LineScanner peek_text();
  LineScanner next_text();

  /// Says that the report goes on for at least so many lines after the next one; holds until it is said anew.
  void set_further(std::size_t lines) { further_ = lines; }
  std::size_t further() const { return further_; }

  /// After an error in a report that began in line `begin`: goes to where the next begins.
  void resume(std::size_t begin);
  /// Passes over the next line, which is no beginning of a report, and notes it.
  void pass_stray();
  /// Ends the reading where no whole line follows; a report has begun before, or not. Returns whether one is cut off.
  /// Throws InputError if that is to be strict and the rest is of no report.
  bool end(bool has_begun);

 private:
  std::string_view line() const;
  bool settle();
  bool pass(std::string_view line);
  bool note(std::string_view line);
  void drop();

  std::string_view rest_;
  const std::string& file_;
  const bool tolerant_;
  Run& run_;
  std::size_t number_;
  // Before the line that was taken last.
  std::string_view rest_before_;
  std::size_t number_before_ = 1;
  std::size_t further_ = 0;
};

/// Whether a report may begin with this line.
bool begins_report(std::string_view line);

/// Whether a report may go on with this line, or begin on it behind other text.
bool may_be_of_report(std::string_view line);

/// Whether a line of `text` is one that cellscope has printed, by which its runs are told from other files.
bool tells_of_run(std::string_view text);

}  // namespace kelvane_hub
