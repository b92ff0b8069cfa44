#include "cli/arguments.h"

#include "common/line.h"

namespace cellscope {
namespace {

// Some of it is not how the program behaves (the key is "filename", the pid file stands elsewhere); scripts know the
// text as it is.
constexpr const char* usage[] = {
    "Connect to WWAN sensor pass 2 mandatory parameters and 1 option parameter",
    "adb shell /vendor/bin/cellscope operation=<operation> request_id=<request_id> file_name=<file_name.txt>",
    "<request_id> : Any long or integer or any string just for reference",
    "<operation> :",
    "        1. Connect to Voice Call Indications ",
    "        2. Connect to Streaming sensor ",
    "<file_name> : Name the file to dump the output <filename.txt>",
    "pid will be saved in /data/local/tmp/wwan_test_output_pid.txt",
    "To Exit adb shell kill -2 (pidof cellscope)",
};

}  // namespace

ArgumentMap strToMap(int argc, char** argv) {
  ArgumentMap arguments;
  for (int i = 0; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto equals = argument.find('=');
    if (equals == std::string::npos) continue;
    const std::string key = argument.substr(0, equals);
    const std::string value = argument.substr(equals + 1);
    arguments[key] = value;
    print_line("Key: ", key, ", Value: ", value);
  }
  return arguments;
}

std::string argument_or_default(const ArgumentMap& arguments, const std::string& key) {
  const auto found = arguments.find(key);
  return found == arguments.end() ? "-1" : found->second;
}

void print_usage(const std::string& first_argument) {
  for (const char* line : usage) print_line(line);
  print_line("argstring ", first_argument);
}

}  // namespace cellscope
