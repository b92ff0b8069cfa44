#include "hub/report/run_reader.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "hub/messages/reflection.h"
#include "hub/report/line_scanner.h"
#include "hub/report/report_form.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

/// Lines of the main thread, which may come between any two lines of a report.
struct Progress {
  std::string_view text;
  bool has_number = false;  // after the text
};
constexpr Progress progress[] = {{"Listening For On Change Sensor indications"},
                                 {"Listening For streaming sensor"},
                                 {"Listening For Voice Call status indication"},
                                 {"connecting to on-change sensor"},
                                 {"Input given ", true},
                                 {"Streaming sensor rate : ", true},
                                 {"Got the  signal for 2"}};

bool is_progress(std::string_view line) {
  return std::ranges::any_of(progress, [line](const Progress& known) {
    return known.has_number ? line.starts_with(known.text) : line == known.text;
  });
}

/// The file ends in the middle of a report.
struct CutOff {};

/// The lines of a file but for those of progress.
class Lines {
 public:
  Lines(std::string_view text, const std::string& file) : rest_(text), file_(file) { skip_progress(); }

  bool at_end() const { return rest_.empty(); }

  /// Throws CutOff if there is none.
  LineScanner peek() const {
    const auto end = rest_.find('\n');
    if (end == std::string_view::npos) throw CutOff();
    return {file_, number_, rest_.substr(0, end)};
  }

  LineScanner next() {
    const LineScanner line = peek();
    drop();
    skip_progress();
    return line;
  }

  std::size_t number() const { return number_; }

 private:
  void drop() {
    rest_.remove_prefix(rest_.find('\n') + 1);
    ++number_;
  }

  void skip_progress() {
    for (auto end = rest_.find('\n'); end != std::string_view::npos && is_progress(rest_.substr(0, end));
         end = rest_.find('\n')) {
      drop();
    }
  }

  std::string_view rest_;
  const std::string& file_;
  std::size_t number_ = 1;
};

// ---- values ----

bool take_flag(LineScanner& line) {
  if (!line.starts_with("0") && !line.starts_with("1")) line.fail("0 or 1");
  return line.take_number<std::uint32_t>() == 1;
}

/// Takes a value and its label; `before` stands ahead of both.
void take_value(LineScanner& line, Message& message, const PrintedField& printed, std::string_view before = "") {
  line.take(std::string(before).append(printed.label));
  const FieldDescriptor& field = field_of(*message.GetDescriptor(), printed.name);
  const auto& reflection = *message.GetReflection();
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.SetInt32(&message, &field, line.take_number<std::int32_t>());
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.SetUInt32(&message, &field, line.take_number<std::uint32_t>());
    case FieldDescriptor::CPPTYPE_UINT64:
      return reflection.SetUInt64(&message, &field, line.take_number<std::uint64_t>());
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection.SetBool(&message, &field, take_flag(line));
    default:
      throw std::logic_error(field.full_name() + " is of a type that is not printed");
  }
}

/// Takes several values, up to the "}" after them; `before` stands ahead of the first, `between` ahead of the others.
void take_values(LineScanner& line, Message& message, std::span<const PrintedField> fields, std::string_view before,
                 std::string_view between) {
  for (const PrintedField& field : fields) {
    take_value(line, message, field, before);
    before = between;
  }
  line.take("}");
}

/// A line for each value that reports have of `message`.
void take_lines(Lines& lines, Message& message) {
  for (const PrintedField& field : printed_fields(*message.GetDescriptor())) {
    LineScanner line = lines.next();
    take_value(line, message, field);
    line.take_end();
  }
}

template <class Number>
Number take_last_number(LineScanner line, std::string_view before) {
  line.take(before);
  const auto number = line.take_number<Number>();
  line.take_end();
  return number;
}

/// What stands before the first value of a Payload, and tells its reports from others.
template <class Payload>
std::string_view first_label() {
  return printed_fields(*Payload::descriptor()).front().label;
}

void take_empty_line(Lines& lines) { lines.next().take_end(); }

/// Makes `event` one whose payload is a Payload.
template <class Payload>
Payload& begin(RunEvent& event) {
  auto message = std::make_unique<Payload>();
  Payload& payload = *message;
  event.kind = find_event_kind(*Payload::descriptor());
  event.message = std::move(message);
  return payload;
}

// ---- cells ----

void take_cell(Lines& lines, std::size_t number, RunEvent& event, mox_wwan_cell_info& cell) {
  take_empty_line(lines);
  LineScanner header = lines.next();
  header.take("=== Cell " + std::to_string(number) + " === {");
  header.take("Log Time: ");
  event.log_times_of_cells.push_back(header.take_number<std::int64_t>());
  take_values(header, cell, printed_fields(*cell.GetDescriptor()), ",", ",");
  header.take_end();
  const Technology* const technology = find_technology(cell.cell_type());
  if (technology == nullptr) return;
  for (const PrintedPart& part : technology->parts) {
    take_empty_line(lines);
    LineScanner line = lines.next();
    line.take(std::string("== ").append(part.title) + " == {");
    take_values(line, make_part(cell, *technology, part.name), part.fields, "", ",");
    line.take_end();
  }
}

void take_cells(Lines& lines, RunEvent& event, mox_wwan_event_serving_neighboring_cell_info& info) {
  take_lines(lines, info);
  const auto count = take_last_number<std::uint32_t>(lines.next(), number_of_cells);
  for (std::size_t number = 1; number <= count; ++number) take_cell(lines, number, event, *info.add_cells());
}

void take_locations(Lines& lines, RunEvent& event, mox_wwan_get_cell_location_info_response& response) {
  take_lines(lines, response);
  const auto count = take_last_number<std::uint32_t>(lines.next(), number_of_cells);
  for (std::uint32_t i = 0; i < count; ++i) take_cells(lines, event, *response.add_cells());
}

std::string take_payload(LineScanner line, std::uint64_t size) {
  std::string payload;
  for (std::uint64_t i = 0; i < size; ++i) {
    const LineScanner before = line;
    const auto byte = line.take_number<std::uint32_t>();
    if (byte > 255) before.fail("a byte");
    line.take(" ");
    payload += static_cast<char>(byte);
  }
  line.take_end();
  return payload;
}

/// What begins with the size of a payload.
void take_sized_event(Lines& lines, RunEvent& event) {
  event.payload_size = take_last_number<std::uint64_t>(lines.next(), "Payload size: ");
  if (lines.peek().starts_with("Received HST")) {
    return take_lines(lines, begin<mox_wwan_event_highspeed_rail_network_info>(event));
  }
  if (lines.peek().starts_with("error info")) {
    return take_lines(lines, begin<mox_wwan_signal_strength_config_status>(event));
  }
  event.payload = take_payload(lines.next(), *event.payload_size);
  if (lines.peek().starts_with(first_label<mox_wwan_get_cell_location_info_response>())) {
    return take_locations(lines, event, begin<mox_wwan_get_cell_location_info_response>(event));
  }
  take_cells(lines, event, begin<mox_wwan_event_serving_neighboring_cell_info>(event));
}

// ---- calls and RRC states ----

void take_voice_calls(LineScanner line, mox_wwan_event_voice_calls& info) {
  take_value(line, info, printed_fields(*info.GetDescriptor()).front());
  line.take(", voice call info-Number of calls: ");
  const auto count = line.take_number<std::uint32_t>();
  line.take(": [");
  for (std::uint32_t number = 1; number <= count; ++number) {
    auto& call = *info.add_calls();
    take_values(line, call, printed_fields(*call.GetDescriptor()), "{ Call: " + std::to_string(number), "");
  }
  line.take("]");
  line.take_end();
}

void take_rrc_states(LineScanner first, Lines& lines, mox_wwan_event_rrc_states_info& info) {
  const auto fields = printed_fields(*info.GetDescriptor());
  take_value(first, info, fields.front());
  first.take(", ");
  first.take_end();
  for (const PrintedField& state : fields.subspan(1)) {
    if (!lines.peek().starts_with(state.label)) continue;
    LineScanner line = lines.next();
    take_value(line, info, state);
    line.take(" }");
    line.take_end();
  }
  take_empty_line(lines);
}

/// What begins with the log time.
void take_timed_event(Lines& lines, RunEvent& event) {
  LineScanner line = lines.next();
  line.take("Log Time: ");
  event.log_time = line.take_number<std::int64_t>();
  if (line.starts_with(first_label<mox_wwan_event_voice_calls>())) {
    return take_voice_calls(line, begin<mox_wwan_event_voice_calls>(event));
  }
  take_rrc_states(line, lines, begin<mox_wwan_event_rrc_states_info>(event));
}

RunEvent take_event(Lines& lines) {
  const LineScanner first = lines.peek();
  RunEvent event;
  event.line = first.line();
  if (first.starts_with("Payload size: ")) {
    take_sized_event(lines, event);
  } else if (first.starts_with("Log Time: ")) {
    take_timed_event(lines, event);
  } else {
    first.fail("the beginning of a report (Payload size: … or Log Time: …)");
  }
  return event;
}

}  // namespace

Run read_run(std::string_view text, const std::string& name) {
  Run run;
  Lines lines(text, name);
  while (!lines.at_end()) {
    const std::size_t begin = lines.number();
    try {
      run.events.push_back(take_event(lines));
    } catch (const CutOff&) {
      run.cut_off = begin;
      break;
    }
  }
  return run;
}

}  // namespace kelvane_hub
