// Faults, a line each as they are ordered, a blank line, and bytes that say who asks for what and how far time goes.
// With the same seed the same comes of it, well formed, and to nobody after the end.

#include <array>
#include <cstdlib>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "fuzz/everything.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"
#include "hub/testbench/control.h"

namespace kelvane_hub::fuzz {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
constexpr std::array jumps{Time(1), Time(milliseconds(100)), Time(seconds(1)), Time(seconds(4))};

void expect(bool condition) {
  if (!condition) std::abort();
}

const PackedScenario& played() {
  static const PackedScenario built_in = built_in_scenario();
  return built_in;
}

class Hub final : Delivery, Sessions {
 public:
  explicit Hub(std::uint64_t seed)
      : performance_(played(), {10, {}}, *this, [](const TestPoint&) {}, {seed, this}), control_(performance_, [] {}) {}

  void add(const std::string& fault) { (void)control_.answer("fault " + fault, now_); }

  void take(unsigned char choice) {
    static const auto requests = [] {
      auto all = requests_for_everything();
      all.push_back(envelope(lookup_request, "\n\4wwan"));
      return all;
    }();
    const unsigned which = choice % 32;
    const SessionId session = 1 + choice / 64;
    if (which < requests.size()) {
      const sns_suid_sensor lookup;
      const auto known = performance_.played().head().sensors(choice / 32 % 2).suid();
      const bool looks_up = which + 1 == requests.size();
      const suid sensor =
          looks_up ? suid{lookup.suid_low(), lookup.suid_high()} : suid{known.suid_low(), known.suid_high()};
      performance_.handle_request({session_of(session), sensor}, requests[which], now_);
    } else {
      now_ += jumps[which % jumps.size()];
      for (int turns = 0; turns < 4; ++turns) performance_.advance(now_);
    }
    end_turn();
  }

  const std::string& delivered() const { return delivered_; }

 private:
  /// Whoever has ended comes anew.
  SessionId session_of(SessionId number) { return number + 4 * ended_[number]; }

  void deliver(const Link& to, const std::string& message) override {
    sns_client_event_msg parsed;
    expect(parsed.ParseFromString(message) && parsed.events_size() == 1);
    expect(session_of((to.session - 1) % 4 + 1) == to.session);
    delivered_ += std::to_string(to.session) + message;
  }

  void cut(SessionId session) override { cut_.insert(session); }
  void cut_all() override {
    for (SessionId number = 1; number <= 4; ++number) cut_.insert(session_of(number));
  }

  void end_turn() {
    for (const SessionId session : std::exchange(cut_, {})) {
      performance_.end_session(session);
      ++ended_[(session - 1) % 4 + 1];
    }
  }

  Time now_ = std::chrono::hours(1);
  std::string delivered_;
  std::set<SessionId> cut_;
  std::map<SessionId, std::uint64_t> ended_;
  Performance performance_;
  Control control_;
};

std::string play(const std::string& input, std::uint64_t seed) {
  constexpr int most_faults = 10;
  constexpr std::size_t most_turns = 30;
  Hub hub(seed);
  std::istringstream stream(input);
  std::string line;
  for (int left = most_faults; left > 0 && std::getline(stream, line) && !line.empty(); --left) hub.add(line);
  const std::string rest(std::istreambuf_iterator<char>(stream), {});
  for (const char choice : rest.substr(0, most_turns)) hub.take(static_cast<unsigned char>(choice));
  return hub.delivered();
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const auto once = kelvane_hub::fuzz::play(input, size);
  if (once != kelvane_hub::fuzz::play(input, size)) std::abort();
  return 0;
}
