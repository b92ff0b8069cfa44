#include "hub/import/profile.h"

#include <google/protobuf/text_format.h>

#include <set>
#include <system_error>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/import/columns.h"
#include "hub/import/modes.h"
#include "hub/scenario/mistakes.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;
using google::protobuf::TextFormat;

constexpr const char* ending = ".textproto";

/// Checks what the text format cannot.
void check_modes(const import_profile& profile, const TextFormat::ParseInfoTree& places, Mistakes& mistakes) {
  const auto* const modes = import_profile::descriptor()->FindFieldByName("modes");
  const auto* const ours = import_mode::descriptor()->FindFieldByName("ours");
  for (int i = 0; i < profile.modes_size(); ++i) {
    const import_mode& mode = profile.modes(i);
    if (mode.has_theirs() && find_mode(mode.ours()) != nullptr) continue;
    const auto complain = [&](const TextFormat::ParseLocation& place, const std::string& expected) {
      mistakes.AddError(place.line, place.column, "expected " + expected);
    };
    if (!mode.has_theirs() || !mode.has_ours()) {
      complain(places.GetLocation(modes, i), "theirs and ours in a mode, found one without");
    } else {
      complain(places.GetTreeForNested(modes, i)->GetLocation(ours, -1),
               mode_names() + " in ours, found " + kelvane_hub::quoted(mode.ours()));
    }
  }
}

/// The profiles that there are, by name, with commas between them.
std::string names_in(std::span<const fs::path> folders) {
  std::set<std::string> names;
  std::error_code error;
  for (const auto& folder : folders) {
    for (const auto& file : fs::directory_iterator(folder, error)) {
      if (file.path().extension() == ending) names.insert(file.path().stem());
    }
  }
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::string column_names() {
  const auto& columns = *import_columns::descriptor();
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(columns.field_count()));
  for (int i = 0; i < columns.field_count(); ++i) names.push_back(columns.field(i)->name());
  return alternatives(names);
}

}  // namespace

import_profile parse_profile(const std::string& text, const std::string& name) {
  Mistakes mistakes(name);
  TextFormat::ParseInfoTree places;
  TextFormat::Parser parser;
  parser.RecordErrorsTo(&mistakes);
  parser.WriteLocationsTo(&places);
  import_profile profile;
  const bool well_formed = parser.ParseFromString(text, &profile);
  if (well_formed) check_modes(profile, places, mistakes);
  mistakes.throw_if_any();
  if (!well_formed) throw InputError(name + ": expected a profile in protobuf text format, found something else");
  return profile;
}

fs::path find_profile(const std::string& name, std::span<const fs::path> folders) {
  if (name.find('/') != std::string::npos) return name;
  for (const auto& folder : folders) {
    std::error_code error;
    fs::path file = folder / (name.ends_with(ending) ? name : name + ending);
    if (fs::exists(file, error)) return file;
  }
  const std::string known = names_in(folders);
  throw InputError(concat("expected ", known.empty() ? "" : known + " or ", "a path with a slash, found ",
                          kelvane_hub::quoted(name)));
}

void add_column(import_profile& profile, const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals + 1 == text.size()) {
    throw InputError("expected NAME=COLUMN, as in RSRP=rsrp_dbm, found " + kelvane_hub::quoted(text));
  }
  const auto& columns = *import_columns::descriptor();
  for (int i = 0; i < columns.field_count(); ++i) {
    if (!same_name(columns.field(i)->name(), text.substr(0, equals))) continue;
    // Who names it means it to be there.
    profile.add_required(columns.field(i)->name());
    import_columns& named = *profile.mutable_columns();
    return import_columns::GetReflection()->SetString(&named, columns.field(i), text.substr(equals + 1));
  }
  throw InputError(concat("expected ", column_names(), " before the '=', found ", kelvane_hub::quoted(text)));
}

void add_mode(import_profile& profile, const std::string& text) {
  const auto equals = text.rfind('=');
  if (equals == std::string::npos)
    throw InputError("expected THEIRS=OURS, as in NR_SA=5G, found " + kelvane_hub::quoted(text));
  const std::string ours = text.substr(equals + 1);
  if (find_mode(ours) == nullptr) {
    throw InputError(concat("expected ", mode_names(), " after the '=', found ", kelvane_hub::quoted(text)));
  }
  import_mode& mode = *profile.add_modes();
  mode.set_theirs(text.substr(0, equals));
  mode.set_ours(ours);
}

}  // namespace kelvane_hub
