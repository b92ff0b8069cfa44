// A capture, read and shown in every form: lines are to be whole, printable and, as JSON, well formed. It is summed up,
// and what it becomes when it is imported is a scenario that the hub can read.

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "hub/analysis/digest.h"
#include "hub/base/input_error.h"
#include "hub/capture/lines.h"
#include "hub/import/capture_import.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub::fuzz {
namespace {

void expect(bool condition) {
  if (!condition) std::abort();
}

void check(std::string_view lines, bool is_json) {
  expect(lines.ends_with('\n'));
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(line.size() + 1);
    expect(std::ranges::none_of(line, [](char byte) { return (byte >= 0 && byte < ' ') || byte == '\x7f'; }));
    if (is_json) expect(nlohmann::json::parse(line).is_object());
  }
}

void dump(std::string_view bytes) try {
  Lines forms[] = {Lines({.format = "text"}), Lines({.format = "text", .masks = true}), Lines({.format = "json"}),
                   Lines({.format = "json", .masks = true})};
  CaptureReader reader(
      [&bytes](std::span<char> room) {
        const std::size_t size = bytes.copy(room.data(), room.size());
        bytes.remove_prefix(size);
        return size;
      },
      "input");
  while (const auto record = reader.next()) {
    for (std::size_t i = 0; i < std::size(forms); ++i) check(forms[i].of(*record), i >= 2);
  }
} catch (const InputError&) {
}

void check(const scenario& content) try {
  expect(parse_scenario(text_of(content), "output").steps_size() == static_cast<std::size_t>(content.steps_size()));
} catch (const InputError&) {
  std::abort();
}

void import(std::string_view bytes) try {
  const Capture capture = read_capture(bytes, "input");
  (void)digest_of({"input", FileKind::capture, reports_in(capture)});
  check(to_scenario(capture, "input", {}).content);
} catch (const InputError&) {
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  kelvane_hub::fuzz::dump(bytes);
  kelvane_hub::fuzz::import(bytes);
  return 0;
}
