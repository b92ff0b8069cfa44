#include "events/wwan_reports.h"

#include "common/line.h"
#include "events/cell_report.h"
#include "events/parse.h"
#include "mox_wwan_test.pb.h"

namespace cellscope {
namespace {

void print_payload_size(const std::string& payload) { print_line("Payload size: ", payload.size()); }

void print_payload(const std::string& payload) {
  print_payload_size(payload);
  Line().add_byte_dump(payload).print();
}

void print_cells_of_sub(const mox_wwan_event_serving_neighboring_cell_info& info) {
  print_line("Received serving neighboring cell info on Sub :", info.sub());
  print_line("serving neighboring cell info. Number of cells: ", info.cells_size());
  print(info);
}

}  // namespace

void report_cells(const std::string& payload, std::int64_t) {
  const auto info = parse<mox_wwan_event_serving_neighboring_cell_info>(payload);
  print_payload(payload);
  print_cells_of_sub(info);
}

void report_highspeed_rail(const std::string& payload, std::int64_t) {
  const auto info = parse<mox_wwan_event_highspeed_rail_network_info>(payload);
  print_payload_size(payload);
  print_line("Received HST info on Sub :", info.sub());
  print_line("hst info-LTE ", info.lte());
  print_line("hst info-NR5G ", info.nr5g());
}

void report_config_status(const std::string& payload, std::int64_t) {
  const auto status = parse<mox_wwan_signal_strength_config_status>(payload);
  print_payload_size(payload);
  print_line("error info: ", status.error());
}

void report_voice_calls(const std::string& payload, std::int64_t time) {
  const auto event = parse<mox_wwan_event_voice_calls>(payload);
  Line line;
  line.add("Log Time: ", time, ", Received voice call info on Sub:", event.sub(),
           ", voice call info-Number of calls: ", event.calls_size(), ": [");
  int counter = 0;
  for (const auto& call : event.calls()) {
    line.add("{ Call: ", ++counter, ", CallID: ", call.call_id(), ", CallState: ", call.call_state(), "}");
  }
  line.add("]").print();
}

void report_cell_location(const std::string& payload, std::int64_t) {
  const auto response = parse<mox_wwan_get_cell_location_info_response>(payload);
  print_payload(payload);
  print_line("Received serving neighboring cell info with status :", response.status());
  print_line("serving neighboring cell info. Number of cells: ", response.cells_size());
  for (const auto& info : response.cells()) print_cells_of_sub(info);
}

void report_rrc_states(const std::string& payload, std::int64_t time) {
  const auto info = parse<mox_wwan_event_rrc_states_info>(payload);
  print_line("Log Time: ", time, ", Received rrc state info on Sub:", info.sub(), ", ");
  if (info.has_wcdma_rrc_state()) print_line("{ WCDMA RRC STATE: ", info.wcdma_rrc_state(), " }");
  if (info.has_lte_rrc_state()) print_line("{ LTE RRC STATE: ", info.lte_rrc_state(), " }");
  if (info.has_nr5g_rrc_state()) print_line("{ NR5G RRC STATE: ", info.nr5g_rrc_state(), " }");
  print_line();
}

}  // namespace cellscope
