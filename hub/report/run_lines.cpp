#include "hub/report/run_lines.h"

#include <algorithm>
#include <span>

#include "hub/base/concat.h"
#include "hub/report/run_notes.h"

namespace kelvane_hub {
namespace {

/// Lines of the main thread, which may come between any two lines of a report.
struct Progress {
  std::string_view text;
  bool has_number = false;  // after the text
};
constexpr Progress listening[] = {{"Listening For On Change Sensor indications"},
                                  {"Listening For streaming sensor"},
                                  {"Listening For Voice Call status indication"}};
constexpr Progress others[] = {{"connecting to on-change sensor"},
                               {"Input given ", true},
                               {"Streaming sensor rate : ", true},
                               {"Got the  signal for 2"}};

bool is_one_of(std::span<const Progress> lines, std::string_view line) {
  return std::ranges::any_of(lines, [line](const Progress& known) {
    return known.has_number ? line.starts_with(known.text) : line == known.text;
  });
}

bool is_progress(std::string_view line) { return is_one_of(listening, line) || is_one_of(others, line); }

/// Whether the end of the file may have cut `line` to what it is.
bool begins_one_of(std::span<const Progress> lines, std::string_view line) {
  return std::ranges::any_of(
      lines, [line](const Progress& known) { return known.text.starts_with(line) || line.starts_with(known.text); });
}

constexpr std::string_view beginnings[] = {"Payload size: ", "Log Time: "};

/// How the lines of reports begin but for their first ones, empty ones and those of bytes.
constexpr std::string_view continuations[] = {"Received serving ",
                                              "Received HST ",
                                              "serving neighboring ",
                                              "=== Cell ",
                                              "== ",
                                              "hst info-",
                                              "error info: ",
                                              "{ "};

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool is_bytes(std::string_view line) {
  return line.ends_with(' ') && line.find_first_not_of("0123456789 ") == std::string_view::npos;
}

/// Whether it is a line of a report, or what is left of one.
bool is_like_report(std::string_view line) {
  const auto is_like = [line](std::string_view text) { return line.starts_with(text) || text.starts_with(line); };
  return is_bytes(line) || std::ranges::any_of(beginnings, is_like) || std::ranges::any_of(continuations, is_like);
}

/// Where on a line that begins with something else a report begins; npos: nowhere.
std::size_t find_report(std::string_view line) {
  const auto sized = line.rfind(beginnings[0]);
  if (sized != std::string_view::npos && is_number(line.substr(sized + beginnings[0].size()))) return sized;
  const auto timed = line.rfind(beginnings[1]);
  if (timed == std::string_view::npos) return timed;
  const auto after = line.substr(timed + beginnings[1].size());
  const auto comma = after.find(", Received ");
  return is_number(after.substr(0, comma)) && comma != std::string_view::npos ? timed : std::string_view::npos;
}

}  // namespace

bool begins_report(std::string_view line) {
  return std::ranges::any_of(beginnings, [line](std::string_view text) { return line.starts_with(text); });
}

bool may_be_of_report(std::string_view line) {
  return is_like_report(line) || find_report(line) != std::string_view::npos;
}

bool tells_of_run(std::string_view text) {
  while (!text.empty()) {
    const auto line = text.substr(0, text.find_first_of("\r\n"));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (find_report(line) != std::string_view::npos || note_in(line) || is_progress(line)) return true;
  }
  return false;
}

bool RunLines::at_end() {
  (void)settle();
  return rest_.empty();
}

std::size_t RunLines::number() {
  (void)settle();
  return number_;
}

LineScanner RunLines::peek() {
  if (!settle()) throw CutOff();
  return {file_, number_, line()};
}

LineScanner RunLines::next() {
  const LineScanner taken = peek();
  rest_before_ = rest_;
  number_before_ = number_;
  drop();
  return taken;
}

LineScanner RunLines::peek_text() {
  while (tolerant_ && peek().rest().empty()) drop();
  return peek();
}

LineScanner RunLines::next_text() {
  (void)peek_text();
  return next();
}

void RunLines::resume(std::size_t begin) {
  // What was taken last may be a beginning, where another text was expected.
  rest_ = rest_before_;
  number_ = number_before_;
  while (settle() && (number_ <= begin || !begins_report(line()))) drop();
}

void RunLines::pass_stray() {
  if (!line().empty()) run_.strays.add(number_, quoted(line()));
  drop();
}

bool RunLines::end(bool has_begun) {
  const std::string_view last = rest_;
  rest_ = {};
  const bool is_report = std::ranges::any_of(beginnings, [this, last](std::string_view text) {
    return text.starts_with(last) || last.starts_with(text) || (tolerant_ && last.find(text) != std::string_view::npos);
  });
  if (has_begun || is_report) return true;
  if (begins_one_of(listening, last) || begins_one_of(others, last)) return false;
  if (!tolerant_) LineScanner(file_, number_, last).fail(beginning_of_report);
  run_.strays.add(number_, quoted(last));
  return false;
}

/// The next line; a whole one follows.
std::string_view RunLines::line() const {
  auto line = rest_.substr(0, rest_.find('\n'));
  while (tolerant_ && line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

/// Goes to the next line that may be of a report; false: no whole one follows.
bool RunLines::settle() {
  while (rest_.find('\n') != std::string_view::npos) {
    if (!pass(line())) return true;
    drop();
  }
  return false;
}

/// Whether `line`, the next one, is to be passed over; if a report begins within it, what stands before that is gone.
bool RunLines::pass(std::string_view line) {
  if (is_one_of(listening, line)) {
    run_.listening.push_back(number_);
    (void)note(line);
    return true;
  }
  if (is_one_of(others, line)) {
    (void)note(line);
    return true;
  }
  if (!tolerant_ || line.empty() || is_like_report(line)) return false;
  const auto report = find_report(line);
  if (report == std::string_view::npos) {
    (note(line) ? run_.diagnosed : run_.strays).add(number_, quoted(line));
    return true;
  }
  run_.glued.add(number_, quoted(line.substr(0, report)));
  rest_.remove_prefix(report);
  return false;
}

/// Keeps what `line`, the next one, tells. Returns whether that is an event.
bool RunLines::note(std::string_view line) {
  auto told = note_in(line);
  if (!told) return false;
  told->line = number_;
  // After an error, lines come once more.
  if (run_.notes.empty() || run_.notes.back().line < number_) run_.notes.push_back(*told);
  return is_event(*told);
}

void RunLines::drop() {
  rest_.remove_prefix(rest_.find('\n') + 1);
  ++number_;
}

}  // namespace kelvane_hub
