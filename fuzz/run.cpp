// Output files of cellscope: read, written as JSON and CSV, and made curves of.

#include "hub/base/input_error.h"
#include "hub/plot/track.h"
#include "hub/report/run_reader.h"
#include "hub/report/run_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
  const auto run = kelvane_hub::read_run({reinterpret_cast<const char*>(data), size}, "input");
  (void)kelvane_hub::to_json(run);
  (void)kelvane_hub::to_csv(run);
  (void)kelvane_hub::track_of(run);
  return 0;
} catch (const kelvane_hub::InputError&) {
  return 0;
}
