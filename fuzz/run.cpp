// Output files of cellscope: read, written as JSON and CSV, and made pictures of.

#include "hub/base/input_error.h"
#include "hub/plot/script.h"
#include "hub/plot/thinning.h"
#include "hub/plot/track.h"
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
  const auto track = kelvane_hub::thinned(kelvane_hub::track_of(run), 100);
  (void)kelvane_hub::script_of(track, "input", kelvane_hub::format_for("-"));
  return 0;
} catch (const kelvane_hub::InputError&) {
  return 0;
}
