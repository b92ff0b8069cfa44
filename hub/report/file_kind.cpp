#include "hub/report/file_kind.h"

#include <algorithm>
#include <cstddef>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/report/run_lines.h"
#include "hub/wire/capture_file.h"
#include "scenario.pb.h"

namespace kelvane_hub {
namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view without_blanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text;
}

/// The next line, which is taken away from `rest`.
std::string_view take_line(std::string_view& rest) {
  const auto line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  return line;
}

/// Begins with a field that scenarios have, or says nothing but comments.
bool is_scenario(std::string_view text) {
  std::string_view rest = without_blanks(text);
  const bool has_comment = rest.starts_with('#');
  while (rest.starts_with('#')) {
    (void)take_line(rest);
    rest = without_blanks(rest);
  }
  if (rest.empty()) return has_comment;
  const auto end = std::min(rest.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), rest.size());
  const auto after = without_blanks(rest.substr(end));
  const bool has_value = after.starts_with(':') || after.starts_with('{') || after.starts_with('<');
  return has_value && scenario::descriptor()->FindFieldByName(std::string(rest.substr(0, end))) != nullptr;
}

bool is_run(std::string_view text) { return without_blanks(text).empty() || tells_of_run(text); }

bool is_drive(std::string_view text) {
  std::string_view rest = without_blanks(text);
  return take_line(rest).find_first_of(",;\t") != std::string_view::npos;
}

struct Kind {
  FileKind kind;
  std::string_view name;
  bool (*is_it)(std::string_view text);
};

constexpr Kind kinds[] = {{FileKind::capture, "capture", begins_capture},
                          {FileKind::scenario, "scenario", is_scenario},
                          {FileKind::run, "run", is_run},
                          {FileKind::drive, "drive", is_drive}};

}  // namespace

std::string_view name_of(FileKind kind) { return std::ranges::find(kinds, kind, &Kind::kind)->name; }

FileKind kind_of_file(std::string_view text, const std::string& name) {
  const auto* const found = std::ranges::find_if(kinds, [text](const Kind& kind) { return kind.is_it(text); });
  if (found != std::end(kinds)) return found->kind;
  std::string_view rest = without_blanks(text);
  const auto line = 1 + std::count(text.begin(), text.end() - static_cast<std::ptrdiff_t>(rest.size()), '\n');
  throw InputError(concat(name, ':', line,
                          ": expected a run of cellscope, a scenario, a capture or a drive (CSV), found ",
                          quoted(take_line(rest))));
}

}  // namespace kelvane_hub
