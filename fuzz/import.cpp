// Drive-test recordings, with or without a profile and a NUL before them. What comes of a good one is a scenario that
// the hub can read.

#include <cstdlib>

#include "hub/base/input_error.h"
#include "hub/import/drive_import.h"
#include "hub/import/profile.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub::fuzz {
namespace {

Drive read(const std::string& input) {
  const auto nul = input.find('\0');
  if (nul == std::string::npos) return read_drive("drive.csv", input, {});
  return read_drive("drive.csv", input.substr(nul + 1), parse_profile(input.substr(0, nul), "app.textproto"));
}

void import(const std::string& input) try {
  const Drive drive = read(input);
  if (drive.summary.text().empty()) std::abort();
  const std::string text = text_of(to_scenario(drive, Plmn{272, 1}));
  if (parse_scenario(text, "drive.textproto").steps_size() != drive.rows.size()) std::abort();
} catch (const InputError&) {
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane_hub::fuzz::import({reinterpret_cast<const char*>(data), size});
  return 0;
}
