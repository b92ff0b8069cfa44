#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/import/drive_import.h"
#include "hub/import/profile.h"
#include "hub/import/run_import.h"
#include "hub/report/run_lines.h"
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

// ---- what a file is ----

using Made = std::pair<scenario, std::string>;  // and what is said of it

Made import_run(const ImportOptions& options, const std::string& name, const std::string& text) {
  const std::pair<bool, const char*> of_csv[] = {{options.profile.has_value(), "--profile"},
                                                 {!options.columns.empty(), "--column"},
                                                 {!options.modes.empty(), "--mode"},
                                                 {options.plmn.has_value(), "--plmn"}};
  for (const auto& [is_given, option] : of_csv) {
    if (is_given)
      throw UsageError(concat("kelvane-hub import: ", option, ": expected a recording in CSV, found a run"));
  }
  auto [content, summary] = to_scenario(load_whole_run(text, name), name);
  return {std::move(content), std::move(summary)};
}

Made import_drive(const ImportOptions& options, const std::string& name, const std::string& text) {
  const auto plmn = plmn_of(options);
  const import_profile profile = profile_of(options);
  const Drive drive = read_drive(name, text, profile);
  return {to_scenario(drive, plmn), drive.summary.text()};
}

/// What can be imported.
struct Source {
  std::string_view name;  // for --from
  bool (*is_one)(std::string_view text);
  Made (*import)(const ImportOptions& options, const std::string& name, const std::string& text);
};

// Whatever is nothing else is taken for the last.
constexpr Source sources[] = {
    {"run", tells_of_run, import_run},
    {"csv", [](std::string_view) { return true; }, import_drive},
};

const Source& source_of(const ImportOptions& options, std::string_view text) {
  return *std::ranges::find_if(sources, [&](const Source& source) {
    return options.from.empty() ? source.is_one(text) : source.name == options.from;
  });
}

}  // namespace

void import(const ImportOptions& options) {
  refuse_same_file(options.input, options.output, "the recording");
  const std::string text = read_input(options.input);
  const Source& source = source_of(options, text);
  const auto [content, said] = source.import(options, name_of_input(options.input), text);
  write_output(text_of(content), options.output);
  (void)std::fputs(said.c_str(), stderr);
}

}  // namespace kelvane_hub
