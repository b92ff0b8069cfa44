// What a user gives the client: the words of the input as arguments, then the whole of it typed into the menu.

#include <algorithm>
#include <cctype>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/menu.h"
#include "fuzz/scripted_session.h"
#include "kelvane_api.pb.h"

namespace {

std::string good_answer() {
  sns_suid_event found;
  found.add_suids()->set_suid_low(7);
  sns_std_attr_event attributes;
  auto& stream_type = *attributes.add_attributes();
  stream_type.set_attr_id(16);
  stream_type.mutable_value()->add_values()->set_integer(1);
  sns_client_event_msg message;
  message.add_events()->set_msg_id(768);
  message.mutable_events(0)->set_payload(found.SerializeAsString());
  message.add_events()->set_msg_id(128);
  message.mutable_events(1)->set_payload(attributes.SerializeAsString());
  return message.SerializeAsString();
}

/// The client takes as many thresholds as it is told to; a number this long makes that minutes.
bool has_long_number(const std::string& text) {
  constexpr int long_number = 5;
  const auto is_digit = [](char character, int) { return std::isdigit(static_cast<unsigned char>(character)) != 0; };
  return std::search_n(text.begin(), text.end(), long_number, 0, is_digit) != text.end();
}

void give_arguments(const std::string& text) {
  std::istringstream words(text);
  std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  const auto values = cellscope::strToMap(static_cast<int>(argv.size()), argv.data());
  cellscope::print_usage(cellscope::argument_or_default(values, "operation"));
}

void type(const std::string& text) {
  std::istringstream typed(text);
  std::cin.rdbuf(typed.rdbuf());
  std::cin.clear();
  cellscope::run_menu();
  std::cin.rdbuf(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (has_long_number(text)) return -1;
  static const std::string answer = good_answer();
  cellscope::fuzz::start_anew(answer);
  give_arguments(text);
  type(text);
  return 0;
}
