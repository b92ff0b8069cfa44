#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_run.h"
#include "hub/commands/outputs.h"
#include "hub/import/capture_import.h"
#include "hub/import/drive_import.h"
#include "hub/import/profile.h"
#include "hub/import/run_import.h"
#include "hub/report/run_lines.h"
#include "hub/scenario/scenario_file.h"
#include "hub/wire/capture_file.h"

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

Made import_capture(const ImportOptions& options, const std::string& name, const std::string& text) {
  const Capture capture = read_capture(text, name);
  auto [content, summary] = to_scenario(capture, name, options.session);
  if (!capture.cut_off.empty()) summary += capture.cut_off + '\n';
  return {std::move(content), std::move(summary)};
}

Made import_run(const ImportOptions&, const std::string& name, const std::string& text) {
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
  const char* noun;       // for errors
  bool (*is_one)(std::string_view text);
  Made (*import)(const ImportOptions& options, const std::string& name, const std::string& text);
};

// Whatever is nothing else is taken for the last.
constexpr Source sources[] = {
    {"capture", "a capture", begins_capture, import_capture},
    {"run", "a run", tells_of_run, import_run},
    {"csv", "a recording in CSV", [](std::string_view) { return true; }, import_drive},
};

const Source& source_of(const ImportOptions& options, std::string_view text) {
  return *std::ranges::find_if(sources, [&](const Source& source) {
    return options.from.empty() ? source.is_one(text) : source.name == options.from;
  });
}

/// Throws UsageError if there is an option that is for others than `source`.
void check_options(const ImportOptions& options, const Source& source) {
  const std::tuple<bool, const char*, std::string_view> known[] = {
      {options.profile.has_value(), "--profile", "csv"},
      {!options.columns.empty(), "--column", "csv"},
      {!options.modes.empty(), "--mode", "csv"},
      {options.plmn.has_value(), "--plmn", "csv"},
      {options.session.has_value(), "--session", "capture"},
  };
  for (const auto& [is_given, option, name] : known) {
    if (!is_given || name == source.name) continue;
    const auto* const expected = std::ranges::find(sources, name, &Source::name);
    throw UsageError(concat("kelvane-hub import: ", option, ": expected ", expected->noun, ", found ", source.noun));
  }
}

/// What the input holds. Only a capture may have NUL bytes; it says of another file what it is.
std::string read_source(const ImportOptions& options) {
  return read_input(options.input, [&](std::string_view beginning) {
    if (options.from == "capture" && beginning.size() >= capture_file_header.size()) {
      (void)read_capture(beginning.substr(0, capture_file_header.size()), name_of_input(options.input));
    }
    return options.from.empty() ? begins_capture(beginning) : options.from == "capture";
  });
}

}  // namespace

void import(const ImportOptions& options) {
  refuse_same_file(options.input, options.output, "the recording");
  const std::string text = read_source(options);
  const Source& source = source_of(options, text);
  check_options(options, source);
  const auto [content, said] = source.import(options, name_of_input(options.input), text);
  write_output(text_of(content), options.output);
  (void)std::fputs(said.c_str(), stderr);
}

}  // namespace kelvane_hub
