#include "hub/report/run_reader.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/messages/reflection.h"
#include "hub/report/line_scanner.h"
#include "hub/report/report_form.h"
#include "hub/report/run_lines.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

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
void take_lines(RunLines& lines, Message& message) {
  for (const PrintedField& field : printed_fields(*message.GetDescriptor())) {
    LineScanner line = lines.next_text();
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

void take_empty_line(RunLines& lines) { lines.next().take_end(); }

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

// Of a cell, and of a subscription's cells.
constexpr std::size_t least_lines = 2;

void take_cell(RunLines& lines, std::size_t number, RunEvent& event, mox_wwan_cell_info& cell) {
  take_empty_line(lines);
  LineScanner header = lines.next_text();
  header.take("=== Cell " + std::to_string(number) + " === {");
  header.take("Log Time: ");
  event.log_times_of_cells.push_back(header.take_number<std::int64_t>());
  take_values(header, cell, printed_fields(*mox_wwan_cell_info::descriptor()), ",", ",");
  header.take_end();
  const Technology* const technology = find_technology(cell.cell_type());
  if (technology == nullptr) return;
  for (const PrintedPart& part : technology->parts) {
    take_empty_line(lines);
    LineScanner line = lines.next_text();
    line.take(std::string("== ").append(part.title) + " == {");
    take_values(line, make_part(cell, *technology, part.name), part.fields, "", ",");
    line.take_end();
  }
}

/// At least `further` lines of the report come after them.
void take_cells(RunLines& lines, RunEvent& event, mox_wwan_event_serving_neighboring_cell_info& info,
                std::size_t further = 0) {
  take_lines(lines, info);
  const auto count = take_last_number<std::uint32_t>(lines.next_text(), number_of_cells);
  for (std::size_t number = 1; number <= count; ++number) {
    lines.set_further(least_lines * (count - number) + further);
    take_cell(lines, number, event, *info.add_cells());
  }
}

void take_locations(RunLines& lines, RunEvent& event, mox_wwan_get_cell_location_info_response& response) {
  take_lines(lines, response);
  const auto count = take_last_number<std::uint32_t>(lines.next_text(), number_of_cells);
  for (std::uint32_t left = count; left > 0; --left) {
    const std::size_t further = least_lines * (left - 1);
    lines.set_further(further);
    take_cells(lines, event, *response.add_cells(), further);
  }
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
void take_sized_event(RunLines& lines, RunEvent& event) {
  event.payload_size = take_last_number<std::uint64_t>(lines.next(), "Payload size: ");
  if (*event.payload_size != 0) (void)lines.peek_text();
  if (lines.peek().starts_with("Received HST")) {
    return take_lines(lines, begin<mox_wwan_event_highspeed_rail_network_info>(event));
  }
  if (lines.peek().starts_with("error info")) {
    return take_lines(lines, begin<mox_wwan_signal_strength_config_status>(event));
  }
  event.payload = take_payload(lines.next(), *event.payload_size);
  if (lines.peek_text().starts_with(first_label<mox_wwan_get_cell_location_info_response>())) {
    return take_locations(lines, event, begin<mox_wwan_get_cell_location_info_response>(event));
  }
  take_cells(lines, event, begin<mox_wwan_event_serving_neighboring_cell_info>(event));
}

// ---- calls and RRC states ----

void take_voice_calls(LineScanner line, mox_wwan_event_voice_calls& info) {
  take_value(line, info, printed_fields(*mox_wwan_event_voice_calls::descriptor()).front());
  line.take(", voice call info-Number of calls: ");
  const auto count = line.take_number<std::uint32_t>();
  line.take(": [");
  for (std::uint32_t number = 1; number <= count; ++number) {
    auto& call = *info.add_calls();
    take_values(line, call, printed_fields(*mox_wwan_event_voice_calls::voice_call::descriptor()),
                "{ Call: " + std::to_string(number), "");
  }
  line.take("]");
  line.take_end();
}

void take_rrc_states(LineScanner first, RunLines& lines, mox_wwan_event_rrc_states_info& info) {
  const auto fields = printed_fields(*mox_wwan_event_rrc_states_info::descriptor());
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
void take_timed_event(RunLines& lines, RunEvent& event) {
  LineScanner line = lines.next();
  line.take("Log Time: ");
  event.log_time = line.take_number<std::int64_t>();
  if (line.starts_with(first_label<mox_wwan_event_voice_calls>())) {
    return take_voice_calls(line, begin<mox_wwan_event_voice_calls>(event));
  }
  take_rrc_states(line, lines, begin<mox_wwan_event_rrc_states_info>(event));
}

RunEvent take_event(RunLines& lines) {
  const LineScanner first = lines.peek();
  RunEvent event;
  event.line = first.line();
  if (first.starts_with("Payload size: ")) {
    take_sized_event(lines, event);
  } else if (first.starts_with("Log Time: ")) {
    take_timed_event(lines, event);
  } else {
    first.fail(beginning_of_report);
  }
  return event;
}

// ---- the whole ----

void read_strictly(RunLines& lines, Run& run) {
  while (!lines.at_end()) {
    const std::size_t begin = lines.number();
    bool has_begun = false;
    try {
      has_begun = begins_report(lines.peek().rest());
      run.events.push_back(take_event(lines));
    } catch (const CutOff&) {
      if (lines.end(has_begun)) run.cut_off = begin;
    }
  }
}

/// The next event, or what stands in place of one.
void read_next(RunLines& lines, Run& run) {
  lines.set_further(0);
  const std::size_t begin = lines.number();
  bool has_begun = false;
  try {
    has_begun = begins_report(lines.peek().rest());
    if (!has_begun) return lines.pass_stray();
    run.events.push_back(take_event(lines));
  } catch (const CutOff&) {
    if (lines.end(has_begun)) run.cut_off = begin, run.missing = lines.further() + 1;
  } catch (const InputError& error) {
    run.broken.add(begin, error.what());
    lines.resume(begin);
  }
}

void read_tolerantly(RunLines& lines, Run& run) {
  while (!lines.at_end()) read_next(lines, run);
}

/// Another file than a run is no run without events.
void check_for_reports(const Run& run, const std::string& name) {
  if (!run.events.empty()) return;
  if (run.broken.count != 0) throw InputError(run.broken.first);
  const Oddity others = run.strays + run.diagnosed;
  if (others.count == 0) return;
  throw InputError(name + ":" + std::to_string(others.line) + ": expected " + beginning_of_report + ", found " +
                   others.first);
}

}  // namespace

Run read_run(std::string_view text, const std::string& name, Reading reading) {
  Run run;
  if (!text.empty() && !text.ends_with('\n')) run.torn = 1 + static_cast<std::size_t>(std::ranges::count(text, '\n'));
  RunLines lines(text, name, reading, run);
  if (reading == Reading::strict) {
    read_strictly(lines, run);
  } else {
    read_tolerantly(lines, run);
    check_for_reports(run, name);
  }
  return run;
}

Run read_piece(std::string_view text, const std::string& name, std::size_t first) {
  Run run;
  RunLines lines(text, name, Reading::tolerant, run, first);
  read_tolerantly(lines, run);
  return run;
}

}  // namespace kelvane_hub
