#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/import/drive_import.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {
namespace {

std::optional<Plmn> plmn_of(const ImportOptions& options) try {
  return options.plmn ? std::optional(parse_plmn(*options.plmn)) : std::nullopt;
} catch (const InputError& error) {
  throw InputError(std::string("--plmn: ") + error.what());
}

}  // namespace

void import(const ImportOptions& options) {
  refuse_same_file(options.csv, options.output, "the recording");
  write_scenario(import_drive(options.csv, plmn_of(options)), options.output);
}

}  // namespace kelvane_hub
