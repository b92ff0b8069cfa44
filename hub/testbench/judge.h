// Whether clients have asked for what a scenario expects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "hub/scenario/packed_scenario.h"
#include "hub/scenario/timeline.h"
#include "hub/simulator/watcher.h"
#include "hub/testbench/request_match.h"

namespace kelvane_hub {

/// One thing that was to be so.
struct TestPoint {
  std::string name;
  std::string unmet;                     // what was expected, when, and what came instead; empty: it was met
  std::size_t step = std::string::npos;  // of the scenario, from 0; of none: as if it came after all
};

/// Decides each expectation of a scenario, and each of its steps that wait, as soon as that can be done, and tells it
/// once: if the scenario comes to it again, after an order, what was decided first stands.
///
/// A request is counted as it comes, for all that the scenario ever expects: a step that looks back at all of them
/// takes no time for that.
class Judge final : public Watcher, public Party {
 public:
  /// Is told of each decision, on the thread that runs the simulator.
  using Tell = std::function<void(const TestPoint& point)>;

  /// Of `played` at `speed`; `time` says when in it something happens. Both outlive this object.
  Judge(const PackedScenario& played, const Timeline& time, double speed, Tell tell);

  void on_request(const Link& from, const std::string& envelope, Time now) override;
  void on_step(const scenario_step& step, Time now) override;
  void on_jump(ScenarioTime by) override;
  void on_rewind() override;

  /// As if no client had asked for anything, and nothing had been told.
  void forget_requests();

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

  /// Whether a step waits for something that has not come.
  bool is_waiting() const;

  /// Whether something is still to be decided.
  bool is_open() const { return !open_.empty(); }

  /// The name of the first of that, or of the first that a step waits for. To be called if there is any.
  const std::string& first_open() const;

  /// Whether any client has configured a sensor.
  bool has_clients() const { return time_.started(); }

  /// Seconds of the clock that the steps which wait do so at most, all together, and an expectation after the last
  /// step.
  double longest_wait() const { return longest_wait_; }

  /// Decides what is open as it stands; what the scenario has not come to, or a seek has skipped, is not met.
  void close();

 private:
  /// What has come of requests that are expected together; whoever expects the same shares it.
  struct Tally {
    struct Met {
      std::size_t count = 0;
      std::size_t last = 0;  // if there is any: which of those seen
    };

    explicit Tally(const scenario_expectation& expected)
        : requests(expected.requests()), matchers(requests.begin(), requests.end()), met(matchers.size()) {}

    /// The one of that number has come.
    void count(const AskedFor& asked, std::size_t number);
    void forget();

    const google::protobuf::RepeatedPtrField<scenario_request> requests;
    std::vector<RequestMatcher> matchers;  // of these, which stay where they are
    std::vector<Met> met;                  // each of them
    std::size_t in_order = 0;              // how many have come in their order
    bool is_next_too = false;              // the last of them is what has to follow it, too
  };

  /// What is to be decided.
  struct Open {
    std::size_t index = 0;  // of its step
    std::string name;
    ScenarioTime at{};
    ScenarioTime until{};     // none if `due` counts
    std::optional<Time> due;  // whatever scenario time does
    bool waits = false;
    scenario_expectation expected;  // of a step that waits likewise
    std::size_t clients = 0;
    const Tally* tally = nullptr;
  };

  double clock_speed() const;
  std::optional<Time> due_of(const Open& open) const;
  static std::optional<Open> point_of(const scenario_step& step);
  const AskedFor& asked_for(AskedFor asked);
  void tell(const TestPoint& point);
  bool is_met(const Open& open) const;
  static bool can_change(const Open& open);
  std::string unmet(const Open& open) const;
  std::string found_instead(const Open& open, std::size_t request) const;
  bool decide(const Open& open, bool is_over);
  void decide_all(bool is_over);

  const PackedScenario& played_;
  const Timeline& time_;
  const double speed_;
  Tell tell_;
  double longest_wait_ = 0;
  const std::size_t all_;                 // points of the scenario
  std::size_t most_clients_ = 0;          // that a step waits for
  std::map<std::string, Tally> tallies_;  // of all points, by what they expect
  std::set<std::size_t> told_;            // indices of their steps
  std::list<Open> open_;                  // in the order in which they were reached
  std::vector<SeenRequest> seen_;         // all, unless they are too many
  std::set<AskedFor> asked_for_;          // by these
  std::size_t seen_bytes_ = 0;
  std::set<SessionId> configured_;  // no more than are waited for
};

}  // namespace kelvane_hub
