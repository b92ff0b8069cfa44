#include "cli/menu.h"

#include <cstdint>
#include <iostream>
#include <vector>

#include "common/line.h"
#include "common/state.h"
#include "requests/wwan_requests.h"
#include "session/connection.h"
#include "session/suid_discovery.h"
#include "thresholds/signal_strength_requests.h"

namespace cellscope {
namespace {

constexpr const char* menu[] = {
    "connect to WWAN sensor ",
    "Enter 1 for On-change sensor ",
    "Enter 2 for Streaming Sensor ",
    "Enter 3 to Disconnect ",
    "Enter 4 to send signal info ",
    "Enter 5 to send empty signal_config ",
    "Enter 6 to send GSM signal_config ",
    "Enter 7 to register for voice_call_status ",
    "Enter 8 to Connect to Streaming sensor(Query Mode) ",
    "Enter 9 to Query cell-location-info ",
    "Enter 10 to register for rrc state info ",
    "Enter 11 to reconnect to sensor ",
    "Enter -1 to Exit",
};

std::int32_t read_number(std::int32_t preset) {
  std::int32_t number = preset;
  std::cin >> number;
  return number;
}

void connect_to_streaming_sensor() {
  data_type = "wwan_stream";
  getSuid(data_type);
}

void connect_streaming() {
  sample_rate = read_number(0);
  connect_to_streaming_sensor();
}

void connect_in_query_mode() {
  sample_rate = 0;
  query_mode = true;
  connect_to_streaming_sensor();
}

template <void (*request)(suid, std::int32_t)>
void send_for_sub() {
  const std::int32_t sub_id = read_number(-1);
  request(sensor_suid, sub_id);
}

template <void (*request)(suid)>
void send() {
  request(sensor_suid);
}

constexpr const char* note_1 = "Please note this request will only work once option 1 or 2 ";
constexpr const char* note_2 = " is selected prior to this. ";
constexpr const char* ask_sub = "Enter sub id for this request (0 or 1)";

struct Choice {
  std::int32_t number;
  std::vector<const char*> lines;
  void (*act)();
};

const Choice choices[] = {
    {1, {"connecting to on-change sensor"}, connect_to_on_change_sensor},
    {2, {"connecting to streaming sensor", "Enter the duration: "}, connect_streaming},
    {3, {"diconnect client"}, close_session},
    {4, {note_1, note_2, "Enter the sig_info ", ask_sub}, send_for_sub<send_all_ran_info>},
    {5, {note_1, note_2, "send empty sig_info", ask_sub}, send_for_sub<send_empty_sig_info>},
    {6, {note_1, note_2, "send geran sig_info", ask_sub}, send_for_sub<send_geran_sig_info>},
    {7, {note_1, note_2, "register for voice_call_status indications "}, send<register_voice_call_status>},
    {8, {"connecting to streaming sensor(Query Mode)"}, connect_in_query_mode},
    {9, {"Query Cell-location info"}, send<query_cell_location_info>},
    {10,
     {"Please note this request will only work once option 1 has been selected", " prior to this. ",
      "register for rrc state indication "},
     send<register_rrc_state_indication>},
    {11, {"reconnect to sensor "}, reconnect_to_sensor},
};

const Choice* find_choice(std::int32_t number) {
  for (const Choice& choice : choices) {
    if (choice.number == number) return &choice;
  }
  return nullptr;
}

const Choice* ask_choice() {
  for (const char* line : menu) print_line(line);
  return find_choice(read_number(-1));
}

}  // namespace

void run_menu() {
  while (const Choice* choice = ask_choice()) {
    for (const char* line : choice->lines) print_line(line);
    choice->act();
  }
  close_session();
}

}  // namespace cellscope
