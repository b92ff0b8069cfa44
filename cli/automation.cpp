#include "cli/automation.h"

#include <unistd.h>

#include <string>

#include "cli/arguments.h"
#include "cli/output_log.h"
#include "common/line.h"
#include "common/state.h"
#include "requests/wwan_requests.h"
#include "session/connection.h"
#include "session/suid_discovery.h"

namespace cellscope {
namespace {

constexpr unsigned listening_seconds = 3;

void listen_until_stopped(const char* status) {
  do {
    print_line(status);
    sleep(listening_seconds);
  } while (stop_requested == 0);
}

void listen_on_change(const ArgumentMap&) {
  print_line("connecting to on-change sensor");
  connect_to_on_change_sensor();
  sleep(listening_seconds);
  listen_until_stopped("Listening For On Change Sensor indications");
}

void listen_streaming(const ArgumentMap& arguments) {
  const int rate = std::stoi(argument_or_default(arguments, "rate"));
  print_line("Streaming sensor rate : ", rate);
  sample_rate = rate;
  data_type = "wwan_stream";
  getSuid(data_type);
  listen_until_stopped("Listening For streaming sensor");
}

void listen_voice_calls(const ArgumentMap&) {
  constexpr unsigned settling_seconds = 10;
  print_line("connecting to on-change sensor");
  connect_to_on_change_sensor();
  sleep(settling_seconds);
  register_voice_call_status(sensor_suid);
  sleep(listening_seconds);
  listen_until_stopped("Listening For Voice Call status indication");
}

struct Operation {
  int number;
  void (*run)(const ArgumentMap& arguments);
};

constexpr Operation operations[] = {
    {1, listen_on_change},
    {2, listen_streaming},
    {3, listen_voice_calls},
};

void run_operation(int number, const ArgumentMap& arguments) {
  for (const Operation& operation : operations) {
    if (operation.number == number) operation.run(arguments);
  }
}

}  // namespace

void run_automation(int argc, char** argv) {
  const std::string first_argument = argv[1];
  const ArgumentMap arguments = strToMap(argc, argv);
  print_usage(first_argument);
  const long request_id = std::stol(argument_or_default(arguments, "request_id"));
  print_line("Request Id", request_id);
  write_pid_file(request_id);
  redirect_output(argument_or_default(arguments, "filename"));
  install_signal_handler();
  const int operation = std::stoi(argument_or_default(arguments, "operation"));
  print_line("Input given ", operation);
  run_operation(operation, arguments);
}

}  // namespace cellscope
