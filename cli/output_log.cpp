#include "cli/output_log.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "common/line.h"
#include "common/state.h"
#include "session/connection.h"

namespace cellscope {
namespace {

const std::string output_directory = CELLSCOPE_OUTPUT_DIR;

}  // namespace

void write_pid_file(std::int64_t request_id) {
  const std::string path = output_directory + "wwan_test_output_pid_" + std::to_string(request_id) + ".txt";
  std::ofstream pid_file(path, std::ios::out | std::ios::trunc);
  if (pid_file.is_open()) pid_file << "Request_" << request_id << " : " << getpid() << std::endl;
}

void redirect_output(const std::string& name) {
  const std::string path = output_directory + (name == "-1" ? "wwan_test_output.txt" : name);
  (void)std::remove(path.c_str());
  output_file.open(path);
  saved_cout_buffer = std::cout.rdbuf(output_file.rdbuf());
  std::cout.clear();
}

void install_signal_handler() {
  stop_requested = 0;
  (void)std::signal(SIGINT, singal_handler);
}

void singal_handler(int signum) {
  print_line("Got the  signal for ", signum);
  close_session();
  stop_requested = 1;
  output_file.close();
  std::cout.rdbuf(saved_cout_buffer);
  std::cout.clear();
}

}  // namespace cellscope
