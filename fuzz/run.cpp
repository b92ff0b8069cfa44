// Output files of cellscope: read, and written as JSON and CSV. What they become when they are imported is a scenario
// that the hub can read.

#include <cstdlib>

#include "hub/base/input_error.h"
#include "hub/import/run_import.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_reader.h"
#include "hub/report/run_times.h"
#include "hub/report/run_writer.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub::fuzz {
namespace {

void import(const Run& run) {
  scenario content;
  try {
    content = to_scenario(run, "input").content;
  } catch (const InputError&) {
    return;
  }
  try {
    if (parse_scenario(text_of(content), "output").steps_size() == static_cast<std::size_t>(content.steps_size()))
      return;
  } catch (const InputError&) {
  }
  std::abort();
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
  auto run = kelvane_hub::read_run({reinterpret_cast<const char*>(data), size}, "input");
  (void)kelvane_hub::believe_payloads(run);
  const auto times = kelvane_hub::times_of(run);
  (void)kelvane_hub::to_json(run, times);
  (void)kelvane_hub::to_csv(run, times);
  kelvane_hub::fuzz::import(run);
  return 0;
} catch (const kelvane_hub::InputError&) {
  return 0;
}
