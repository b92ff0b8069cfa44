#include "hub/report/run_writer.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>

#include "hub/messages/reflection.h"
#include "hub/report/report_form.h"

namespace kelvane_hub {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using Json = nlohmann::ordered_json;

// ---- an event as an object ----

Json value_of(const Message& message, const FieldDescriptor& field) {
  const auto& reflection = *message.GetReflection();
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.GetInt32(message, &field);
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.GetUInt32(message, &field);
    case FieldDescriptor::CPPTYPE_UINT64:
      return reflection.GetUInt64(message, &field);
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection.GetBool(message, &field);
    default:
      throw std::logic_error(field.full_name() + " is of a type that is not printed");
  }
}

/// Those of the fields that are set.
void set_values(Json& object, const Message& message, std::span<const PrintedField> fields) {
  for (const PrintedField& printed : fields) {
    const FieldDescriptor& field = field_of(*message.GetDescriptor(), printed.name);
    if (message.GetReflection()->HasField(message, &field)) object[field.name()] = value_of(message, field);
  }
}

void set_values(Json& object, const Message& message) {
  set_values(object, message, printed_fields(*message.GetDescriptor()));
}

Json object_of(const mox_wwan_cell_info& cell, std::int64_t log_time) {
  Json object{{"log_time", log_time}};
  set_values(object, cell);
  const Technology* const technology = find_technology(cell.cell_type());
  if (technology == nullptr) return object;
  object["technology"] = technology->name;
  for (const PrintedPart& part : technology->parts) {
    if (const Message* const found = find_part(cell, *technology, part.name)) {
      set_values(object[std::string(part.name)], *found, part.fields);
    }
  }
  return object;
}

/// Takes the log times of its cells from the front of `log_times`.
void set_cells(Json& object, const mox_wwan_event_serving_neighboring_cell_info& info,
               std::span<const std::int64_t>& log_times) {
  set_values(object, info);
  Json& list = object["cells"] = Json::array();
  for (const auto& cell : info.cells()) {
    list.push_back(object_of(cell, log_times.front()));
    log_times = log_times.subspan(1);
  }
}

void set_calls(Json& object, const mox_wwan_event_voice_calls& info) {
  set_values(object, info);
  Json& list = object["calls"] = Json::array();
  for (const auto& call : info.calls()) set_values(list.emplace_back(), call);
}

void set_locations(Json& object, const mox_wwan_get_cell_location_info_response& response,
                   std::span<const std::int64_t> log_times) {
  set_values(object, response);
  Json& list = object["subscriptions"] = Json::array();
  for (const auto& info : response.cells()) set_cells(list.emplace_back(), info, log_times);
}

std::string in_hexadecimal(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    text += {digits[byte / 16], digits[byte % 16]};
  }
  return text;
}

Json object_of(const RunEvent& event) {
  Json object{{"event", event.kind->name}, {"line", event.line}};
  if (event.payload_size) object["payload_size"] = *event.payload_size;
  if (event.payload) object["payload"] = in_hexadecimal(*event.payload);
  if (event.log_time) object["log_time"] = *event.log_time;
  std::span<const std::int64_t> log_times(event.log_times_of_cells);
  if (const auto* cells = payload_of<mox_wwan_event_serving_neighboring_cell_info>(event)) {
    set_cells(object, *cells, log_times);
  } else if (const auto* calls = payload_of<mox_wwan_event_voice_calls>(event)) {
    set_calls(object, *calls);
  } else if (const auto* locations = payload_of<mox_wwan_get_cell_location_info_response>(event)) {
    set_locations(object, *locations, log_times);
  } else {
    set_values(object, *event.message);
  }
  return object;
}

// ---- an event as rows ----

/// A key of a part's field as a column. Both signals of a CDMA cell have a dbm and an ecio.
std::string column_of(std::string_view part, std::string_view field) {
  return (part == "signal_strength_evdo" ? "evdo_" : "") + std::string(field);
}

/// The columns of a table, each once.
class Columns {
 public:
  void add(const std::string& column) {
    if (std::ranges::find(names_, column) == names_.end()) names_.push_back(column);
  }
  template <class Payload>
  void add_values_of() {
    for (const PrintedField& field : printed_fields(*Payload::descriptor())) add(std::string(field.name));
  }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::vector<std::string> names_;
};

std::vector<std::string> all_columns() {
  Columns columns;
  for (const char* column : {"line", "event", "payload_size"}) columns.add(column);
  columns.add_values_of<mox_wwan_event_serving_neighboring_cell_info>();
  columns.add_values_of<mox_wwan_get_cell_location_info_response>();
  columns.add_values_of<mox_wwan_signal_strength_config_status>();
  for (const char* column : {"log_time", "cell"}) columns.add(column);
  columns.add_values_of<mox_wwan_cell_info>();
  columns.add("technology");
  for (const Technology& technology : technologies()) {
    for (const PrintedPart& part : technology.parts) {
      for (const PrintedField& field : part.fields) columns.add(column_of(part.name, field.name));
    }
  }
  columns.add("call");
  columns.add_values_of<mox_wwan_event_voice_calls::voice_call>();
  columns.add_values_of<mox_wwan_event_rrc_states_info>();
  columns.add_values_of<mox_wwan_event_highspeed_rail_network_info>();
  return columns.names();
}

/// What is no list and no part of `object`, and the fields of its parts.
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
  for (const RunEvent& event : run.events) text += object_of(event).dump() + '\n';
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
  for (const RunEvent& event : run.events) {
    for (const Json& row : rows_of(object_of(event))) {
      add_line([&row](const std::string& column) { return cell_of_table(row, column); });
    }
  }
  return text;
}

}  // namespace kelvane_hub
