// Whoever wants to know what a simulator is asked, what it does, and why.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "hub/scenario/step_source.h"
#include "hub/simulator/link.h"
#include "hub/thresholds/change_decision.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Whether a session is told of a change of one subscription's cells.
struct CellDecision {
  enum class Ground {
    no_thresholds,  // whoever has none is told everything
    first_cells,    // nothing to compare them with
    thresholds      // `reasons` says why
  };

  bool told = true;
  Ground ground = Ground::no_thresholds;
  std::vector<Reason> reasons;  // none if nothing differs from what was told last
};

/// Something goes wrong with a message on purpose.
struct FaultReport {
  Link link{};
  bool is_request = false;  // or an event
  std::uint32_t msg_id = 0;
  std::uint64_t number = 0;  // of the message, from 1, of its session and direction
  std::size_t fault = 0;     // its number, from 1
  std::string what{};        // is done to it; a few words
};

/// Is told of everything in the order in which it happens, on the thread that runs the simulator, before the simulator
/// goes on. Does nothing unless overridden, and calls nobody back. `now` is time on the hub's clock.
class Watcher {
 public:
  virtual ~Watcher() = default;

  /// A request has come: a serialised sns_client_request_msg, if it is well formed.
  virtual void on_request(const Link& /*from*/, const std::string& /*envelope*/, Time /*now*/) {}

  /// An event goes out: a serialised sns_client_event_msg.
  virtual void on_event(const Link& /*to*/, const std::string& /*message*/, Time /*now*/) {}

  /// The cells of `sub` have changed, and it has been decided whether this session is told.
  virtual void on_decision(const Link& /*to*/, std::uint32_t /*sub*/, const CellDecision& /*decision*/,
                           ScenarioTime /*time*/) {}

  /// A configuration of thresholds was refused; `explanation` is one line.
  virtual void on_refusal(const Link& /*to*/, const std::string& /*explanation*/) {}

  /// A step happens now.
  virtual void on_step(const scenario_step& /*step*/, Time /*now*/) {}

  /// Scenario time has jumped forward by so much, or back; no time has passed.
  virtual void on_jump(ScenarioTime /*by*/) {}

  /// The scenario is back at its beginning, and the modem's state is forgotten.
  virtual void on_rewind() {}

  /// A scenario that does not begin anew is over at that time; the modem's state stays as it is.
  virtual void on_end(ScenarioTime /*time*/) {}

  /// The simulator is so late with what is due that it cannot follow: steps are played late, none is left out; periodic
  /// reports are. Called once, not anew before it has followed for a while.
  virtual void on_behind(Time /*late*/) {}

  /// So many bytes of messages that are to come late wait already: more of them come at once. Called once, not anew
  /// before none has waited.
  virtual void on_full(std::size_t /*bytes*/) {}

  /// A message is struck by a fault: a request after on_request(), an event after on_event(), of which both are told
  /// whatever becomes of the message.
  virtual void on_fault(const FaultReport& /*report*/) {}
};

/// Tells several, in the order in which they were added.
class Watchers final : public Watcher {
 public:
  /// `watcher` outlives this object.
  void add(Watcher& watcher) { all_.push_back(&watcher); }

  void on_request(const Link& from, const std::string& envelope, Time now) override;
  void on_event(const Link& to, const std::string& message, Time now) override;
  void on_decision(const Link& to, std::uint32_t sub, const CellDecision& decision, ScenarioTime time) override;
  void on_refusal(const Link& to, const std::string& explanation) override;
  void on_step(const scenario_step& step, Time now) override;
  void on_jump(ScenarioTime by) override;
  void on_rewind() override;
  void on_end(ScenarioTime time) override;
  void on_behind(Time late) override;
  void on_full(std::size_t bytes) override;
  void on_fault(const FaultReport& report) override;

 private:
  std::vector<Watcher*> all_;
};

}  // namespace kelvane_hub
