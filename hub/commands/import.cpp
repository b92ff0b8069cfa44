#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/import/drive_import.h"
#include "hub/import/profile.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

/// What `read` returns, with the option before its errors.
template <class Read>
auto of_option(const char* option, Read read) try {
  return read();
} catch (const InputError& error) {
  throw UsageError(std::string("kelvane-hub import: ") + option + ": " + error.what());
}

std::optional<Plmn> plmn_of(const ImportOptions& options) {
  if (!options.plmn) return {};
  return of_option("--plmn", [&] { return parse_plmn(*options.plmn); });
}

/// The file of --profile: of a build, or installed, wherever the installation has been moved to.
fs::path profile_file(const std::string& name) {
  std::error_code error;
  const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
  const std::array folders{here / "profiles", here / KELVANE_HUB_INSTALLED_PROFILES};
  return of_option("--profile", [&] { return find_profile(name, folders); });
}

/// Options go before the file of --profile.
import_profile profile_of(const ImportOptions& options) {
  import_profile profile;
  if (options.profile) {
    const fs::path file = profile_file(*options.profile);
    profile = parse_profile(read_file(file), file);
  }
  for (const auto& column : options.columns) of_option("--column", [&] { add_column(profile, column); });
  for (const auto& mode : options.modes) of_option("--mode", [&] { add_mode(profile, mode); });
  return profile;
}

}  // namespace

void import(const ImportOptions& options) {
  refuse_same_file(options.csv, options.output, "the recording");
  const auto plmn = plmn_of(options);
  const import_profile profile = profile_of(options);
  const Drive drive = read_drive(name_of_input(options.csv), read_input(options.csv), profile);
  write_output(text_of(to_scenario(drive, plmn)), options.output);
  (void)std::fputs(drive.summary.text().c_str(), stderr);
}

}  // namespace kelvane_hub
