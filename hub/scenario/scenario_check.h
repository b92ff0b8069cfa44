// What can be wrong with a scenario whose form is right: the rules that scenario.proto states in words.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hub/scenario/fault_check.h"
#include "hub/scenario/mistakes.h"
#include "hub/scenario/packed_scenario.h"
#include "hub/wire/frame.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Leaves room for the envelope around it.
inline constexpr std::size_t most_step_bytes = max_payload - 1024;

/// Where the parts of a scenario without steps stand.
struct HeadPlaces {
  std::vector<TextPlace> sensors;
  TextPlace repeat_after;
  std::vector<TextPlace> faults{};
  TextPlace repeat{};
  TextPlace start{};
  TextPlace duration{};
};

/// Checks a scenario step by step, then the rest of it.
class ScenarioCheck {
 public:
  /// The next one in order, a plain one.
  void check_step(const scenario_step& step, const TextPlace& place);

  /// The same for one that is shorthand; Expansion checks the rest of it.
  void check_shorthand(const scenario_step& step, const TextPlace& place) { check_time(step, place); }

  /// After the steps, the last of which is at `last_time`, if that is known: whether a part of it can be played.
  void check_part(const scenario& head, const HeadPlaces& places, std::optional<double> last_time);

  /// Then the rest, with the time of the last step that is played.
  void check_head(const scenario& head, const HeadPlaces& places, double last_time);

  /// Whether nothing was found so far.
  bool empty() const { return findings_.empty(); }

  /// Adds what was found. `all_known`: an unknown field may have been meant to be what happens in a step
  /// or is asked in a request.
  void tell(Mistakes& mistakes, bool all_known) const;

 private:
  struct Finding {
    TextPlace place;
    std::string message;
    bool is_idle = false;  // nothing happens in a step, or is asked in a request
  };

  void complain(const TextPlace& place, std::string message) { findings_.push_back({place, std::move(message)}); }
  void check_time(const scenario_step& step, const TextPlace& place);
  void check_requests(const google::protobuf::RepeatedPtrField<scenario_request>& requests, const TextPlace& place);
  void check_asked(const scenario& head);
  void check_within(double within, const TextPlace& place);
  void check_expectation(const scenario_expectation& expected, const TextPlace& place);
  void check_barrier(const scenario_barrier& barrier, const TextPlace& place);
  void check_sensor(const scenario_sensor& sensor, std::size_t index, const TextPlace& place);
  void check_faults(const scenario& head, const std::vector<TextPlace>& places);
  void check_repeat(const scenario& head, const HeadPlaces& places, double last_time);

  double last_time_ = 0;
  bool expects_ = false;
  std::map<std::string, TextPlace> asked_;  // sensors, by data type, and where each is first named
  std::set<std::uint32_t> raw_events_;
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::size_t> sensors_;
  std::vector<Finding> findings_;
};

/// Throws InputError if a hub that plays the scenario at `speed` would be left no time for its clients: steps that
/// repeat may be 100,000 a second at the most.
void check_pace(const PackedScenario& played, double speed);

}  // namespace kelvane_hub
