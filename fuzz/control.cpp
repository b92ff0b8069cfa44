// Orders to a hub, a line each; "@" and a letter let time pass. Every answer is well formed, and an order that is not
// carried out changes nothing.

#include "hub/testbench/control.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz/everything.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub::fuzz {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
constexpr Time jumps[] = {Time(1), milliseconds(10), milliseconds(100), seconds(1), seconds(5), seconds(30)};

void expect(bool condition) {
  if (!condition) std::abort();
}

/// Lines that begin with "| ", then one that says whether it was done. Returns that.
bool is_ok(std::string_view answer) {
  expect(answer.ends_with('\n'));
  for (; answer.starts_with("| "); answer.remove_prefix(answer.find('\n') + 1)) {
  }
  expect(answer.find('\n') == answer.size() - 1);
  const bool ok = answer == "OK\n" || answer.starts_with("OK ");
  expect(ok || answer.starts_with("KO: "));
  return ok;
}

const PackedScenario& played() {
  static const PackedScenario built_in = built_in_scenario();
  return built_in;
}

class Hub final : Delivery {
 public:
  Hub() {
    for (const auto& sensor : played().head().sensors()) {
      for (const auto& request : requests_for_everything()) {
        performance_.handle_request({1, {sensor.suid().suid_low(), sensor.suid().suid_high()}}, request, now_);
      }
    }
  }

  void take(const std::string& line) {
    if (line.starts_with('@')) return wait(jumps[static_cast<unsigned char>(line.back()) % std::size(jumps)]);
    const std::string before = visible();
    if (!is_ok(control_.answer(line, now_))) expect(visible() == before);
  }

 private:
  void deliver(const Link&, const std::string& message) override {
    sns_client_event_msg parsed;
    expect(parsed.ParseFromString(message));
    ++delivered_;
  }

  /// As far as it takes little.
  void wait(Time time) {
    constexpr int most_turns = 8;
    now_ += time;
    for (int turns = 0; turns < most_turns; ++turns) performance_.advance(now_);
  }

  std::string visible() {
    const auto due = performance_.next_due();
    return control_.answer("status", now_) + control_.answer("fault list", now_) + std::to_string(delivered_) + " " +
           std::to_string(due ? due->count() : -1);
  }

  Time now_ = std::chrono::hours(1);
  std::uint64_t delivered_ = 0;
  Performance performance_{played(), {10, {}}, *this, [](const TestPoint&) {}};
  Control control_{performance_, [] {}};
};

void order(const std::string& lines) {
  constexpr int most_lines = 20;
  Hub hub;
  std::istringstream stream(lines);
  std::string line;
  for (int left = most_lines; left > 0 && std::getline(stream, line); --left) hub.take(line);
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane_hub::fuzz::order({reinterpret_cast<const char*>(data), size});
  return 0;
}
