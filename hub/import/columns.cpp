#include "hub/import/columns.h"

#include <algorithm>
#include <vector>

#include "hub/base/concat.h"
#include "hub/messages/reflection.h"

namespace kelvane_hub {
namespace {

constexpr std::array<std::string_view, column_count> our_names{
    "Timestamp", "NetworkMode", "RSRP", "RSRQ", "SNR", "CQI", "RSSI", "LACHEX", "RAWCELLID", "NRxRSRP", "NRxRSRQ"};

char lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

std::string name_of(Column column, const import_columns& names) {
  if (column == area_code && names.has_lac()) return names.lac();
  const auto& field = field_of(*import_columns::descriptor(), our_names[column]);
  const auto& reflection = *import_columns::GetReflection();
  return reflection.HasField(names, &field) ? reflection.GetString(names, &field) : std::string(our_names[column]);
}

/// A column of exactly that name goes before others.
FoundColumn find_column(const CsvReader& csv, const std::string& name) {
  const auto& header = csv.cells();
  const bool is_exact = std::ranges::find(header, name) != header.end();
  FoundColumn found{name, {}};
  for (std::size_t i = 0; i < header.size(); ++i) {
    if (is_exact ? header[i] != name : !same_name(header[i], name)) continue;
    if (found.position) csv.fail("one column " + name, quoted(csv.row()));
    found = {header[i], i};
  }
  return found;
}

bool is_required(Column column, const import_profile& profile) {
  if (column == timestamp || column == network_mode) return true;
  return std::ranges::any_of(profile.required(), [column](const std::string& name) {
    return same_name(name, our_names[column]) || (column == area_code && same_name(name, "LAC"));
  });
}

}  // namespace

bool same_name(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, {}, lower, lower);
}

Columns find_columns(const CsvReader& csv, const import_profile& profile) {
  const import_columns& names = profile.columns();
  Columns columns;
  for (std::size_t i = 0; i < column_count; ++i) {
    columns.found[i] = find_column(csv, name_of(Column(i), names));
    if (!columns.found[i].position && is_required(Column(i), profile)) {
      csv.fail("a column " + columns.found[i].name, quoted(csv.row()));
    }
  }
  if (names.has_lac()) columns.area_base = 10;
  return columns;
}

}  // namespace kelvane_hub
