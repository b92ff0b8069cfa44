// A capture, read and shown in every form: lines are to be whole, printable and, as JSON, well formed.

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "hub/base/input_error.h"
#include "hub/capture/lines.h"

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

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane_hub::fuzz::dump({reinterpret_cast<const char*>(data), size});
  return 0;
}
