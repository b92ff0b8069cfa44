#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "hub/report/cell_form.h"
#include "hub/report/line_scanner.h"
#include "hub/report/run.h"

namespace kelvane_hub {
namespace {

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

Json take_value(LineScanner& line, Kind kind) {
  switch (kind) {
    case Kind::int32:
      return line.take_number<std::int32_t>();
    case Kind::uint32:
      return line.take_number<std::uint32_t>();
    case Kind::int64:
      return line.take_number<std::int64_t>();
    case Kind::uint64:
      return line.take_number<std::uint64_t>();
    case Kind::flag:
      break;
  }
  if (!line.starts_with("0") && !line.starts_with("1")) line.fail("0 or 1");
  return line.take_number<std::uint32_t>() == 1;
}

/// The rest of a line after an opener.
Json take_fields(LineScanner& line, std::span<const Field> fields) {
  Json values;
  for (const Field& field : fields) {
    std::string before = values.empty() ? "" : ",";
    line.take(before.append(field.label) + ": ");
    values[std::string(field.key)] = take_value(line, field.kind);
  }
  line.take("}");
  line.take_end();
  return values;
}

template <class Number>
Number take_last_number(LineScanner line, std::string_view before) {
  line.take(before);
  const auto number = line.take_number<Number>();
  line.take_end();
  return number;
}

void take_empty_line(Lines& lines) { lines.next().take_end(); }

// ---- cells ----

Json take_cell(Lines& lines, std::size_t number) {
  take_empty_line(lines);
  LineScanner header = lines.next();
  header.take("=== Cell " + std::to_string(number) + " === {");
  Json cell = take_fields(header, cell_header());
  const Technology* const technology = find_technology(cell["cell_type"].get<std::int64_t>());
  if (technology == nullptr) return cell;
  cell["technology"] = technology->name;
  for (const Block& block : technology->blocks) {
    take_empty_line(lines);
    LineScanner line = lines.next();
    line.take(block.opener);
    cell[std::string(block.key)] = take_fields(line, block.fields);
  }
  return cell;
}

constexpr std::string_view cells_of_sub = "Received serving neighboring cell info on Sub :";
constexpr std::string_view location_status = "Received serving neighboring cell info with status :";
constexpr std::string_view number_of_cells = "serving neighboring cell info. Number of cells: ";

void take_cells(Lines& lines, Json& info) {
  info["sub"] = take_last_number<std::uint32_t>(lines.next(), cells_of_sub);
  const auto count = take_last_number<std::uint32_t>(lines.next(), number_of_cells);
  info["cells"] = Json::array();
  for (std::size_t number = 1; number <= count; ++number) info["cells"].push_back(take_cell(lines, number));
}

void take_locations(Lines& lines, Json& event) {
  event["status"] = take_last_number<std::int32_t>(lines.next(), location_status);
  const auto count = take_last_number<std::uint32_t>(lines.next(), number_of_cells);
  event["subscriptions"] = Json::array();
  for (std::uint32_t i = 0; i < count; ++i) take_cells(lines, event["subscriptions"].emplace_back());
}

/// The bytes in hexadecimal.
std::string take_payload(LineScanner line, std::uint64_t size) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string payload;
  for (std::uint64_t i = 0; i < size; ++i) {
    const LineScanner before = line;
    const auto byte = line.take_number<std::uint32_t>();
    if (byte > 255) before.fail("a byte");
    line.take(" ");
    payload += {digits[byte / 16], digits[byte % 16]};
  }
  line.take_end();
  return payload;
}

// ---- the other events ----

void take_highspeed_rail(Lines& lines, Json& event) {
  event["sub"] = take_last_number<std::uint32_t>(lines.next(), "Received HST info on Sub :");
  for (const auto& [key, before] : {std::pair("lte", "hst info-LTE "), std::pair("nr5g", "hst info-NR5G ")}) {
    LineScanner line = lines.next();
    line.take(before);
    event[key] = take_value(line, Kind::flag);
    line.take_end();
  }
}

void take_config_status(Lines& lines, Json& event) {
  event["error"] = take_last_number<std::int32_t>(lines.next(), "error info: ");
}

/// What begins with the size of a payload.
void take_sized_event(Lines& lines, Json& event) {
  const auto size = take_last_number<std::uint64_t>(lines.next(), "Payload size: ");
  if (lines.peek().starts_with("Received HST")) {
    event["event"] = "highspeed_rail_network_info";
    event["payload_size"] = size;
    return take_highspeed_rail(lines, event);
  }
  if (lines.peek().starts_with("error info")) {
    event["event"] = "signal_strength_config_status";
    event["payload_size"] = size;
    return take_config_status(lines, event);
  }
  const std::string payload = take_payload(lines.next(), size);
  const bool is_location = lines.peek().starts_with(location_status);
  event["event"] = is_location ? "get_cell_location_info_response" : "serving_neighboring_cell_info";
  event["payload_size"] = size;
  event["payload"] = payload;
  is_location ? take_locations(lines, event) : take_cells(lines, event);
}

void take_voice_calls(LineScanner line, Json& event) {
  event["event"] = "voice_calls";
  event["sub"] = line.take_number<std::uint32_t>();
  line.take(", voice call info-Number of calls: ");
  const auto count = line.take_number<std::uint32_t>();
  line.take(": [");
  event["calls"] = Json::array();
  for (std::uint32_t number = 1; number <= count; ++number) {
    line.take("{ Call: " + std::to_string(number) + ", CallID: ");
    Json& call = event["calls"].emplace_back();
    call["call_id"] = line.take_number<std::uint32_t>();
    line.take(", CallState: ");
    call["call_state"] = line.take_number<std::int32_t>();
    line.take("}");
  }
  line.take("]");
  line.take_end();
}

void take_rrc_states(LineScanner first, Lines& lines, Json& event) {
  event["event"] = "rrc_states_info";
  event["sub"] = first.take_number<std::uint32_t>();
  first.take(", ");
  first.take_end();
  for (const auto& [key, before] :
       {std::pair("wcdma_rrc_state", "{ WCDMA RRC STATE: "), std::pair("lte_rrc_state", "{ LTE RRC STATE: "),
        std::pair("nr5g_rrc_state", "{ NR5G RRC STATE: ")}) {
    if (!lines.peek().starts_with(before)) continue;
    LineScanner line = lines.next();
    line.take(before);
    event[key] = line.take_number<std::int32_t>();
    line.take(" }");
    line.take_end();
  }
  take_empty_line(lines);
}

/// What begins with the log time.
void take_timed_event(Lines& lines, Json& event) {
  LineScanner line = lines.next();
  line.take("Log Time: ");
  const auto time = line.take_number<std::int64_t>();
  constexpr std::string_view voice = ", Received voice call info on Sub:";
  const bool is_voice = line.starts_with(voice);
  line.take(is_voice ? voice : ", Received rrc state info on Sub:");
  event["log_time"] = time;
  is_voice ? take_voice_calls(line, event) : take_rrc_states(line, lines, event);
}

Json take_event(Lines& lines) {
  const LineScanner first = lines.peek();
  Json event{{"event", ""}, {"line", first.line()}};
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
