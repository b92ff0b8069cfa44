// Output files of cellscope: read, and written as JSON and CSV.

#include "hub/base/input_error.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_reader.h"
#include "hub/report/run_times.h"
#include "hub/report/run_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
  auto run = kelvane_hub::read_run({reinterpret_cast<const char*>(data), size}, "input");
  (void)kelvane_hub::believe_payloads(run);
  const auto times = kelvane_hub::times_of(run);
  (void)kelvane_hub::to_json(run, times);
  (void)kelvane_hub::to_csv(run, times);
  return 0;
} catch (const kelvane_hub::InputError&) {
  return 0;
}
