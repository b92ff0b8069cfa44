// Runs of cellscope, and captures, as scenarios.

#include "hub/import/run_import.h"

#include <gtest/gtest.h>

#include "hub/base/input_error.h"
#include "hub/import/capture_import.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_reader.h"
#include "hub/scenario/scenario_file.h"
#include "kelvane_api.pb.h"
#include "tests/golden.h"

namespace kelvane_hub {
namespace {

std::string in_decimal(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) text += std::to_string(static_cast<unsigned char>(byte)) + ' ';
  return text;
}

std::string cells_of(const mox_wwan_event_serving_neighboring_cell_info& cells, int log_time) {
  std::string text = "Received serving neighboring cell info on Sub :" + std::to_string(cells.sub()) +
                     "\nserving neighboring cell info. Number of cells: " + std::to_string(cells.cells_size()) + '\n';
  for (const auto& cell : cells.cells()) {
    text += "\n=== Cell 1 === {Log Time: " + std::to_string(log_time) +
            ",Cell Type: " + std::to_string(cell.cell_type()) + ",Timestamp: " + std::to_string(cell.timestamp()) +
            ",Timestamp Type: 0,Registered: 0}\n";
  }
  return text;
}

/// A cell without technology, at so many seconds; a timestamp of 0 is absent. Without a type there is no cell at all.
mox_wwan_event_serving_neighboring_cell_info made(int sub, int type, int seconds) {
  mox_wwan_event_serving_neighboring_cell_info cells;
  cells.set_sub(static_cast<std::uint32_t>(sub));
  if (type == 0) return cells;
  cells.add_cells()->set_cell_type(type);
  if (seconds != 0) cells.mutable_cells(0)->set_timestamp(static_cast<std::uint64_t>(seconds) * 1'000'000'000);
  return cells;
}

std::string sized(const std::string& bytes) {
  return "Payload size: " + std::to_string(bytes.size()) + '\n' + in_decimal(bytes) + '\n';
}

std::string report(int sub, int type, int seconds) {
  const auto cells = made(sub, type, seconds);
  return sized(cells.SerializeAsString()) + cells_of(cells, 1000 + seconds);
}

std::string location(int status, const mox_wwan_event_serving_neighboring_cell_info& cells) {
  mox_wwan_get_cell_location_info_response response;
  *response.add_cells() = cells;
  response.set_status(status);
  return sized(response.SerializeAsString()) +
         "Received serving neighboring cell info with status :" + std::to_string(status) +
         "\nserving neighboring cell info. Number of cells: 1\n" + cells_of(cells, 1009);
}

std::string rail(int size, const char* values) { return "Payload size: " + std::to_string(size) + '\n' + values; }

ImportedRun imported(const std::string& text) {
  Run run = read_run(text, "a/run.txt");
  (void)believe_payloads(run);
  return to_scenario(run, "a/run.txt");
}

/// What comes of it, and what is said of it; the scenario is one that the hub takes.
template <class Import>
std::string made_by(const Import& import) try {
  const auto [content, summary] = import();
  std::string written = text_of(content);
  EXPECT_EQ(parse_scenario(written, "s").steps_size(), static_cast<std::size_t>(content.steps_size()));
  return written + summary + '\n';
} catch (const InputError& error) {
  return error.what() + std::string("\n\n");
}

const std::string calls =
    ", Received voice call info on Sub:0, voice call info-Number of calls: 1: [{ Call: 1, CallID: 3, CallState: 5}]\n";

TEST(RunImport, MakesStepsOfWhatAHubReportsOfItself) {
  const std::string none = "Received HST info on Sub :0\nhst info-LTE 0\nhst info-NR5G 0\n";
  const std::string runs[] = {
      // States, and the same once more; a second subscription at the beginning, a third one later.
      report(0, 7, 100) + report(1, 0, 0) + report(0, 7, 103) + report(0, 8, 103) + report(2, 7, 105) +
          report(0, 8, 110),
      // Without timestamps; what is registered for, and not.
      report(0, 7, 0) + "register for voice_call_status indications \nLog Time: 1003" + calls + "Log Time: 1004" +
          calls + "Log Time: 1005, Received rrc state info on Sub:0, \n{ LTE RRC STATE: 1 }\n\n",
      // Bytes of other definitions, events that are only diagnosed, sizes that tell what is absent.
      report(0, 7, 1) + "Payload size: 3\n255 1 2 \n" + cells_of(made(0, 0, 0), 0) +
          "event_cb:645, Received error event 4\r\n" + "Enter: event_cb:756, Received unknown message ID -2\n" +
          rail(0, none.c_str()) + rail(2, none.c_str()) + rail(8, none.c_str()) + rail(0, "error info: 0\n") +
          rail(2, "error info: 0\n") + rail(1, "error info: 9\n"),
      // Answers: as the cells are, but for their timestamps; others; verdicts on thresholds.
      "connecting to on-change sensor\n" + report(0, 7, 1) + "Query Cell-location info\n" + location(0, made(0, 7, 9)) +
          location(3, made(0, 7, 9)) + "Enter sub id for this request (0 or 1)\n" + rail(0, "error info: 0\n"),
      // A streaming sensor: what it repeats is its own doing. One that refuses.
      "Input given 2\nStreaming sensor rate : 2\n" + report(0, 7, 0) + report(0, 7, 0) + report(0, 8, 0) +
          report(0, 9, 0),
      "connecting to streaming sensor\nsending on normal config request and sample rate 5\n"
      "event_cb:645, Received error event 7\nconnecting to on-change sensor\n" +
          report(0, 7, 0) + "Query Cell-location info\nevent_cb:645, Received error event 1\n",
      // One that is not of the kind that its name says: it streams.
      "connecting to on-change sensor\nsending on normal config request and sample rate 5\n" + report(0, 7, 0) +
          report(0, 7, 0),
      // Set back; too long; no cells at all; none that is whole.
      "Log Time: 9" + calls + "Log Time: 7" + calls,
      report(0, 7, 1) + "Log Time: 99999999" + calls,
      "Input given 1\n",
  };
  std::string all;
  for (const auto& run : runs) all += made_by([&] { return imported(run); });
  cellscope::test::expect_golden("ImportedRuns", all);
}

// ---- captures ----

using namespace std::chrono_literals;

const suid lookup{sns_suid_sensor().suid_low(), sns_suid_sensor().suid_high()};
constexpr suid wwan{1, 2};
constexpr suid stream{3, 4};

CaptureRecord asked(std::chrono::milliseconds at, std::uint32_t session, suid sensor, std::uint32_t id,
                    const google::protobuf::Message& payload = sns_std_request()) {
  sns_client_request_msg request;
  request.set_msg_id(id);
  request.mutable_request()->set_payload(payload.SerializeAsString());
  return {1000s + at, Direction::request, session, sensor, request.SerializeAsString()};
}

CaptureRecord told(std::chrono::milliseconds at, std::uint32_t session, suid sensor, std::uint32_t id,
                   const std::string& payload) {
  sns_client_event_msg delivery;
  delivery.add_events()->set_msg_id(id);
  delivery.mutable_events(0)->set_payload(payload);
  return {1000s + at, Direction::event, session, sensor, delivery.SerializeAsString()};
}

std::string error_of(int number) {
  sns_std_error_event error;
  error.set_error(number);
  return error.SerializeAsString();
}

std::string found_for(const char* data_type, const std::vector<suid>& sensors) {
  sns_suid_event found;
  found.set_data_type(data_type);
  for (const suid sensor : sensors) {
    found.add_suids()->set_suid_low(sensor.suid_low);
    found.mutable_suids()->rbegin()->set_suid_high(sensor.suid_high);
  }
  return found.SerializeAsString();
}

std::string attributes() {
  sns_std_attr_event event;
  event.add_attributes()->set_attr_id(16);
  event.mutable_attributes(0)->mutable_value()->add_values()->set_integer(1);
  return event.SerializeAsString();
}

TEST(CaptureImport, HasTheSensorsTheTimesAndTheBytesOfASession) {
  mox_wwan_sensor_config registration;
  registration.set_report_voice_calls(true);
  mox_wwan_streaming_sensor_config rate;
  rate.set_sample_rate(2);
  const std::string cells = made(0, 7, 1).SerializeAsString();
  mox_wwan_event_voice_calls ringing;
  ringing.add_calls()->set_call_id(3);
  const std::vector<CaptureRecord> records = {
      asked(0ms, 1, lookup, lookup_request),
      told(100ms, 1, lookup, lookup_event, found_for("wwan", {wwan, {5, 6}})),
      told(100ms, 1, lookup, lookup_event, found_for("other", {wwan, lookup})),
      asked(200ms, 2, stream, streaming_config, rate),
      told(201ms, 2, stream, error_event, error_of(5)),
      asked(300ms, 3, wwan, attribute_request),
      told(301ms, 3, wwan, attribute_event, attributes()),
      asked(400ms, 3, wwan, on_change_config),
      told(401ms, 3, wwan, cells_event, cells),
      asked(500ms, 3, wwan, cell_location_query),
      told(501ms, 3, wwan, error_event, error_of(7)),
      asked(600ms, 3, wwan, report_registration, registration),
      told(1701ms, 3, wwan, error_event, error_of(8)),  // too late for an answer
      told(1702ms, 3, wwan, voice_calls_event, ringing.SerializeAsString()),
      told(1703ms, 3, wwan, 99, "\xff?"),
      told(1704ms, 3, wwan, cells_event, cells + "\x78\1"),  // a field that nobody knows
      told(1600ms, 3, wwan, highspeed_rail_event, "\x18\1"),
      asked(2000ms, 4, {5, 6}, streaming_config, rate),
      told(2001ms, 4, {5, 6}, cells_event, made(0, 7, 2).SerializeAsString()),
      told(2500ms, 4, {5, 6}, cells_event, made(0, 8, 2).SerializeAsString()),
      told(3000ms, 4, {5, 6}, cells_event, made(0, 8, 2).SerializeAsString()),
      told(2501ms, 4, {5, 6}, motion_event, ""),
  };
  const Capture whole{records, ""};
  const Capture late{{records.begin() + 17, records.end()}, ""};
  const std::pair<Capture, std::optional<std::uint32_t>> cases[] = {
      {whole, {}},
      {whole, 4},
      {whole, 2},
      {late, {}},
      {{{records.begin(), records.begin() + 3}, ""}, {}},
      {{{records.begin(), records.begin() + 5}, ""}, {}},
  };
  std::string all;
  for (const auto& [capture, session] : cases) {
    all += made_by([&one = capture, &of = session] { return to_scenario(one, "a/run.pcap", of); });
  }
  cellscope::test::expect_golden("ImportedCaptures", all);
}

}  // namespace
}  // namespace kelvane_hub
