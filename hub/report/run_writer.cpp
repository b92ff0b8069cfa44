#include <algorithm>

#include "hub/report/cell_form.h"
#include "hub/report/run.h"

namespace kelvane_hub {
namespace {

/// A key of a block's field as a column. Both signals of a CDMA cell have a dbm and an ecio.
std::string column_of(std::string_view block, std::string_view field) {
  return (block == "signal_strength_evdo" ? "evdo_" : "") + std::string(field);
}

std::vector<std::string> all_columns() {
  std::vector<std::string> columns{"line", "event", "payload_size", "sub", "status", "error", "log_time"};
  const auto add = [&columns](const std::string& column) {
    if (std::ranges::find(columns, column) == columns.end()) columns.push_back(column);
  };
  add("cell");
  for (const Field& field : cell_header()) add(std::string(field.key));
  add("technology");
  for (const Technology& technology : technologies()) {
    for (const Block& block : technology.blocks) {
      for (const Field& field : block.fields) add(column_of(block.key, field.key));
    }
  }
  for (const char* column :
       {"call", "call_id", "call_state", "wcdma_rrc_state", "lte_rrc_state", "nr5g_rrc_state", "lte", "nr5g"}) {
    add(column);
  }
  return columns;
}

/// What is no list and no block of `object`, and the fields of its blocks.
void add_values(Json& row, const Json& object) {
  for (const auto& [key, value] : object.items()) {
    if (value.is_object()) {
      for (const auto& [field, number] : value.items()) row[column_of(key, field)] = number;
    } else if (!value.is_array()) {
      row[key] = value;
    }
  }
}

/// A row for each element of a list, numbered from 1 in the column `number`; one if there is none.
void add_rows(std::vector<Json>& rows, const Json& common, const Json& list, const std::string& number) {
  if (list.empty()) rows.push_back(common);
  int counter = 0;
  for (const Json& element : list) {
    Json& row = rows.emplace_back(common);
    row[number] = ++counter;
    add_values(row, element);
  }
}

std::vector<Json> rows_of(const Json& event) {
  Json common;
  add_values(common, event);
  std::vector<Json> rows;
  if (event.contains("subscriptions")) {
    for (const Json& info : event["subscriptions"]) {
      common["sub"] = info["sub"];
      add_rows(rows, common, info["cells"], "cell");
    }
    if (rows.empty()) rows.push_back(common);
  } else if (event.contains("cells")) {
    add_rows(rows, common, event["cells"], "cell");
  } else {
    add_rows(rows, common, event.value("calls", Json::array()), "call");
  }
  return rows;
}

std::string cell_of_table(const Json& row, const std::string& column) {
  const auto found = row.find(column);
  if (found == row.end()) return "";
  return found->is_string() ? found->get<std::string>() : found->dump();
}

}  // namespace

std::string to_json(const Run& run) {
  std::string text;
  for (const Json& event : run.events) text += event.dump() + '\n';
  return text;
}

std::string to_csv(const Run& run) {
  const auto columns = all_columns();
  std::string text;
  const auto add_line = [&](const auto& value_of) {
    for (const auto& column : columns) {
      if (&column != &columns.front()) text += ',';
      text += value_of(column);
    }
    text += "\n";
  };
  add_line([](const std::string& column) { return column; });
  for (const Json& event : run.events) {
    for (const Json& row : rows_of(event)) {
      add_line([&row](const std::string& column) { return cell_of_table(row, column); });
    }
  }
  return text;
}

}  // namespace kelvane_hub
