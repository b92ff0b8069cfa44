// A title, a NUL, and what is drawn under it: a scenario or else a run, made a script for gnuplot. No gnuplot is
// started; the script is to be one that it can read, and not much longer than what it draws.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "hub/base/input_error.h"
#include "hub/plot/layout.h"
#include "hub/plot/script.h"
#include "hub/plot/thinning.h"
#include "hub/plot/title.h"
#include "hub/plot/track.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_reader.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub::fuzz {
namespace {

Track track_in(const std::string& text) {
  try {
    return track_of(parse_scenario(text, "input"));
  } catch (const InputError&) {
    Run run = read_run(text, "input");
    (void)believe_payloads(run);
    return track_of(run);
  }
}

void expect(bool condition) {
  if (!condition) std::abort();
}

/// Numbers, and perhaps what is written at that place: names of technologies, and states.
void check_data(std::string_view line) {
  expect(line.find_first_of("'\"\\$@`") == std::string_view::npos);
  expect(line.find("nan") == std::string_view::npos && line.find("inf") == std::string_view::npos);
}

/// Whether every string ends in it. A quote within single quotes is doubled; within double quotes, a backslash takes
/// what it means from the next character.
bool closes_strings(std::string_view line) {
  char quote = '\0';
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (quote == '"' && line[i] == '\\') {
      ++i;
    } else if (quote == '\0' && (line[i] == '\'' || line[i] == '"')) {
      quote = line[i];
    } else if (line[i] == quote) {
      quote = '\0';
    }
  }
  return quote == '\0';
}

void check_command(std::string_view line) {
  expect(closes_strings(line));
  if (line.starts_with("set xrange") || line.starts_with("set yrange")) check_data(line);
}

void check_script(std::string_view script) {
  expect(script.ends_with('\n'));
  bool in_data = false;
  while (!script.empty()) {
    const std::string_view line = script.substr(0, script.find('\n'));
    script.remove_prefix(line.size() + 1);
    expect(std::ranges::none_of(line, [](char byte) { return (byte >= 0 && byte < ' ') || byte == '\x7f'; }));
    if (in_data) {
      in_data = line != "END";
      check_data(line);
    } else {
      in_data = line.starts_with('$');
      check_command(line);
    }
  }
  expect(!in_data);
}

void plot(const std::string& input) try {
  constexpr std::size_t frame = 3000;
  constexpr std::size_t subscription = 8000;
  constexpr std::size_t byte = 100;
  const auto nul = std::min(input.find('\0'), input.size());
  const std::string title = title_of(input.substr(0, nul));
  const Track track = thinned(track_in(input.substr(std::min(nul + 1, input.size()))), panel_right - panel_left);
  for (const char* picture : {"-", "picture.png"}) {
    const std::string script = script_of(track, title, format_for(picture));
    expect(script.size() <= frame + track.subscriptions.size() * subscription + input.size() * byte);
    check_script(script);
  }
} catch (const InputError&) {
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane_hub::fuzz::plot({reinterpret_cast<const char*>(data), size});
  return 0;
}
