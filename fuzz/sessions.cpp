// Several sessions and one simulator: the bytes say who asks for what, with odd values, who ends, and how far time
// goes. What is delivered is well formed, no session hears anything after its end, and whatever is due gets done.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/everything.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/timeline.h"
#include "hub/testbench/explainer.h"

namespace kelvane_hub::fuzz {
namespace {

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();

/// Choices, a byte each; 0 when there are no more.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes) {}

  bool done() const { return bytes_.empty(); }

  unsigned below(std::size_t count) {
    if (bytes_.empty()) return 0;
    const unsigned byte = static_cast<std::uint8_t>(bytes_.front());
    bytes_.remove_prefix(1);
    return byte % static_cast<unsigned>(count);
  }

  template <class Table>
  const auto& one_of(const Table& table) {
    return table[below(std::size(table))];
  }

  std::string some_bytes() {
    const auto size = below(12);
    std::string some(bytes_.substr(0, size));
    bytes_.remove_prefix(std::min(some.size(), bytes_.size()));
    return some;
  }

 private:
  std::string_view bytes_;
};

struct Play {
  const char* text;
  double speed;
};

// Two subscriptions, values at the ends of their types, moments that are equal or far apart.
constexpr Play plays[] = {
    {R"(steps { at: 0 cells { cells { registered: true cell_type: 3 lte { signal_strength { rsrp: -95 rsrq: -10 } } } } }
        steps { at: 0.01 cells { cells { registered: true cell_type: 3 lte { signal_strength { rsrp: -2147483648 } } } } }
        steps { at: 0.01 cells { sub: 1 cells { cell_type: 6 nr { signal_strength { rsrp: 2147483647 rssnr: 3 } } } } }
        steps { at: 0.011 voice_calls { sub: 1 calls { call_id: 1 } } }
        steps { at: 0.02 cells { cells { registered: true cell_type: 3 lte { signal_strength { rsrp: -80 } } } } }
        steps { at: 0.03 raw { msg_id: 4294967295 payload: "\377" } } repeat_after: 0.0301)",
     1},
    {R"(steps { at: 5 cells { sub: 4294967295 cells { registered: true cell_type: 4 wcdma { signal_strength { rscp: -60 } } } } }
        steps { at: 5 rrc_states { sub: 3 lte_rrc_state: -2147483648 } }
        steps { at: 4000000 cells { cells { cell_type: 77 } } } steps { at: 4000000.5 error { error: -1 } })",
     10'000},
    {"description: 'nothing happens'", 0.01},
    {"", 1000},  // the built-in scenario
};

using Played = decltype(built_in_scenario());

// The lookup's, those that a scenario has if it names none, and one that no scenario has.
constexpr suid sensors[] = {{0x6c6f6f6b75702d31, 0x6b656c76616e6531},
                            {0x7777616e00000001, 0x6b656c76616e6531},
                            {0x7777616e00000002, 0x6b656c76616e6531},
                            {1, 2}};

constexpr std::int32_t numbers[] = {0, 1, -1, 2, 3, 100, 1000, 10'000, -44, -90, -95, -110, -140, least, most};

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
constexpr Time jumps[] = {Time(0),           Time(1),
                          milliseconds(1),   milliseconds(10),
                          milliseconds(100), seconds(1) + Time(1),
                          hours(1),          hours(24 * 365 * 10)};

void expect(bool condition) {
  if (!condition) std::abort();
}

struct Question {
  std::uint32_t msg_id;
  std::string (*payload)(Choices& choices);
};

std::string no_payload(Choices&) { return ""; }

std::string data_type(Choices& choices) {
  sns_suid_req request;
  request.set_data_type(choices.below(2) == 0 ? "wwan" : choices.some_bytes());
  return request.SerializeAsString();
}

std::string stream(Choices& choices) {
  mox_wwan_streaming_sensor_config config;
  config.set_sample_rate(choices.one_of(numbers));
  if (const unsigned mode = choices.below(4); mode != 0) config.set_report_mode(static_cast<std::int32_t>(mode));
  return config.SerializeAsString();
}

std::string registration(Choices& choices) {
  mox_wwan_sensor_config config;
  config.set_report_voice_calls(choices.below(2) == 1);
  config.set_report_rrc_state_info(choices.below(2) == 1);
  return config.SerializeAsString();
}

std::string thresholds(Choices& choices) {
  constexpr RadioAccessNetwork rans[] = {EUTRAN, NGRAN, UTRAN, GERAN, CDMA2000};
  constexpr SignalMeasurementType types[] = {RSRP, SSRSRP, RSCP, RSSI, RSRQ, RSSNR, SSRSRQ, SSSINR};
  mox_wwan_signal_strength_config config;
  if (choices.below(4) != 0) config.set_sub_id(choices.one_of(numbers));
  for (unsigned left = choices.below(4); left > 0; --left) {
    auto& entry = *config.add_threshold_infos();
    entry.set_ran(choices.one_of(rans));
    entry.set_measurement_type(choices.one_of(types));
    entry.set_enabled(choices.below(4) != 0);
    entry.set_hysteresis_ms(choices.one_of(numbers));
    entry.set_hysteresis_db(choices.one_of(numbers));
    for (unsigned values = choices.below(4); values > 0; --values) entry.add_thresholds(choices.one_of(numbers));
  }
  return config.SerializeAsString();
}

std::string anything(Choices& choices) { return choices.some_bytes(); }

constexpr Question questions[] = {
    {on_change_config, no_payload},      {streaming_config, stream},      {signal_strength_config, thresholds},
    {report_registration, registration}, {lookup_request, data_type},     {cell_location_query, no_payload},
    {attribute_request, no_payload},     {self_test_config, anything},    {streaming_config, anything},
    {signal_strength_config, anything},  {report_registration, anything}, {lookup_request, anything},
};

class Conversation final : Delivery {
 public:
  Conversation(const Played& played, double speed)
      : timeline_(played, {speed, {}}), simulator_(played, timeline_, *this), explainer_([](const std::string&) {}) {
    simulator_.watch(explainer_);
  }

  void take_turn(Choices& choices) {
    switch (choices.below(4)) {
      case 0:
      case 1:
        return ask(choices);
      case 2:
        now_ += choices.one_of(jumps);
        return catch_up();
      default:
        return choices.below(4) == 0 ? end_session(choices) : go_to_next();
    }
  }

  /// How often the simulator had its turn, which is what takes time.
  int advances() const { return advances_; }

 private:
  void deliver(const Link& to, const std::string& message) override {
    ++delivered_;
    sns_client_event_msg parsed;
    expect(std::ranges::find(sessions_, to.session) != sessions_.end());
    expect(parsed.ParseFromString(message) && parsed.events_size() == 1);
    expect(parsed.events(0).timestamp() <= static_cast<std::uint64_t>(now_.count()));
  }

  void ask(Choices& choices) {
    const SessionId session = choices.one_of(sessions_);
    const suid sensor = choices.one_of(sensors);
    const Question& question = choices.one_of(questions);
    simulator_.handle_request({session, sensor}, envelope(question.msg_id, question.payload(choices)), now_);
  }

  /// Another takes its place.
  void end_session(Choices& choices) {
    SessionId& session = sessions_[choices.below(sessions_.size())];
    const SessionId ended = std::exchange(session, ++last_session_);
    simulator_.end_session(ended);
  }

  void go_to_next() {
    if (const auto due = simulator_.next_due()) now_ = std::max(now_, *due);
    catch_up();
  }

  /// As far as it takes little: a jump may be over years of steps.
  void catch_up() {
    constexpr int most_turns = 4;
    for (int turns = 0; turns < most_turns && advance(); ++turns) {
    }
  }

  /// Returns whether there is more to do.
  bool advance() {
    ++advances_;
    const auto before = simulator_.next_due();
    const auto delivered = delivered_;
    simulator_.advance(now_);
    const auto after = simulator_.next_due();
    const bool was_due = before && *before <= now_;
    const bool is_due = after && *after <= now_;
    if (!was_due) expect(delivered_ == delivered && after == before);
    if (is_due) expect(delivered_ > delivered || *after > *before);
    return is_due;
  }

  Timeline timeline_;
  Simulator simulator_;
  Explainer explainer_;
  std::array<SessionId, 5> sessions_{1, 2, 3, 4, 5};
  SessionId last_session_ = 5;
  Time now_ = hours(1);
  std::uint64_t delivered_ = 0;
  int advances_ = 0;
};

void converse(Choices choices) {
  constexpr int most_advances = 20;
  static const std::vector<Played> scenarios = [] {
    std::vector<Played> parsed;
    for (const Play& play : plays) {
      parsed.push_back(*play.text == '\0' ? built_in_scenario() : parse_scenario(play.text, "play"));
    }
    return parsed;
  }();
  const unsigned number = choices.below(scenarios.size());
  Conversation conversation(scenarios[number], plays[number].speed);
  while (conversation.advances() < most_advances && !choices.done()) conversation.take_turn(choices);
}

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvane_hub::fuzz;
  converse(Choices({reinterpret_cast<const char*>(data), size}));
  return 0;
}
