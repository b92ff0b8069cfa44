#include "hub/report/run_writer.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>

#include "hub/base/hex.h"
#include "hub/messages/reflection.h"
#include "hub/report/report_form.h"

namespace kelvane_hub {
namespace {

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

/// All of the fields; one that is not set is null.
void set_values(Json& object, const Message& message, std::span<const PrintedField> fields) {
  for (const PrintedField& printed : fields) {
    const FieldDescriptor& field = field_of(*message.GetDescriptor(), printed.name);
    object[field.name()] = message.GetReflection()->HasField(message, &field) ? value_of(message, field) : Json();
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
    set_values(object[std::string(part.name)], part_of(cell, *technology, part.name), part.fields);
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

/// States that are not printed are not there at all.
void set_states(Json& object, const mox_wwan_event_rrc_states_info& states) {
  set_values(object, states);
  for (const PrintedField& field : printed_fields(*mox_wwan_event_rrc_states_info::descriptor())) {
    const std::string name(field.name);
    if (object[name].is_null()) object.erase(name);
  }
}

/// A time since `epoch`, the last decimal that it is given with being about as exact as it is. `round` is std::round or
/// what goes the way of a bound.
Json time_of(std::int64_t epoch, double seconds, double decimals, double (*round)(double)) {
  if (!std::isfinite(seconds)) return {};
  const double unit = std::pow(10, decimals);
  return static_cast<double>(epoch) + round(seconds * unit) / unit;
}

void set_time(Json& object, const std::optional<std::int64_t>& epoch, const RunTime& time) {
  for (const char* key : {"time", "earliest", "latest"}) object[key] = nullptr;
  if (!epoch) return;
  const double width = time.latest - time.earliest;
  // A double has microseconds of a date.
  const double decimals = std::isfinite(width) ? std::clamp(std::ceil(-std::log10(width / 2)), 0., 6.) : 0;
  object["time"] = time_of(*epoch, time.seconds, decimals, [](double number) { return std::round(number); });
  object["earliest"] = time_of(*epoch, time.earliest, decimals, [](double number) { return std::floor(number); });
  object["latest"] = time_of(*epoch, time.latest, decimals, [](double number) { return std::ceil(number); });
}

/// What the report says.
void set_message(Json& object, const RunEvent& event) {
  std::span<const std::int64_t> log_times(event.log_times_of_cells);
  if (const auto* cells = payload_of<mox_wwan_event_serving_neighboring_cell_info>(event)) {
    set_cells(object, *cells, log_times);
  } else if (const auto* calls = payload_of<mox_wwan_event_voice_calls>(event)) {
    set_calls(object, *calls);
  } else if (const auto* locations = payload_of<mox_wwan_get_cell_location_info_response>(event)) {
    set_locations(object, *locations, log_times);
  } else if (const auto* states = payload_of<mox_wwan_event_rrc_states_info>(event)) {
    set_states(object, *states);
  } else {
    set_values(object, *event.message);
  }
}

Json object_of(const RunEvent& event, const std::optional<std::int64_t>& epoch, const RunTime& time) {
  Json object{{"event", event.kind->name}, {"line", event.line}};
  set_time(object, epoch, time);
  if (event.payload_size) object["payload_size"] = *event.payload_size;
  if (event.payload) object["payload"] = in_hex(*event.payload);
  if (event.log_time) object["log_time"] = *event.log_time;
  set_message(object, event);
  return object;
}

/// Calls `take` with each event as an object.
template <class Function>
void for_each_object(const Run& run, const RunTimes& times, Function take) {
  for (std::size_t i = 0; i < run.events.size(); ++i) take(object_of(run.events[i], times.epoch, times.log[i]));
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
  // Last, since scripts cut by the number of a column.
  for (const char* column : {"time", "earliest", "latest"}) columns.add(column);
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
  if (found == row.end() || found->is_null()) return "";
  return found->is_string() ? found->get<std::string>() : found->dump();
}

}  // namespace

std::string to_json(const Run& run, const RunTimes& times) {
  std::string text;
  for_each_object(run, times, [&text](const Json& object) { text += object.dump() + '\n'; });
  return text;
}

std::string to_csv(const Run& run, const RunTimes& times) {
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
  for_each_object(run, times, [&add_line](const Json& object) {
    for (const Json& row : rows_of(object)) {
      add_line([&row](const std::string& column) { return cell_of_table(row, column); });
    }
  });
  return text;
}

}  // namespace kelvane_hub
