// Scenario files: read, described and, if they are good, played.

#include "fuzz/everything.h"
#include "hub/base/input_error.h"
#include "hub/scenario/scenario_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
  using namespace kelvane_hub;
  constexpr int seconds = 12;
  const auto read = parse_scenario({reinterpret_cast<const char*>(data), size}, "input");
  (void)describe(read);
  fuzz::Nowhere nowhere;
  fuzz::play_everything(read, seconds, nowhere);
  return 0;
} catch (const kelvane_hub::InputError&) {
  return 0;
}
