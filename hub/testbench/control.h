// Orders to a hub at work: a line in, an answer out.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "hub/scenario/fault_check.h"
#include "hub/testbench/capturing.h"
#include "hub/testbench/orders.h"
#include "hub/testbench/performance.h"
#include "hub/testbench/recorder.h"
#include "hub/testbench/tally.h"

namespace kelvane_hub {

/// Carries out commands, at once. Knows neither sockets nor clocks; one thread, that of the simulator.
class Control {
 public:
  /// Of `performance`, which outlives this object and is watched from now on; `quit` is called for that command.
  /// `capturing`, which outlives this object, too, keeps what is said; null: nothing does.
  Control(Performance& performance, std::function<void()> quit, Capturing* capturing = nullptr);
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  /// What there is to say to a command, all that stands on a line: lines with their newlines. The last one is
  /// "OK VALUES", VALUES as "at=3.217 sub=0", or "KO: reason", and then nothing has changed; those before it, of some
  /// commands, begin with "| ". To be called when what was due before `now` has happened.
  std::string answer(std::string_view line, Time now);

  /// Its counts are told no more.
  void end_session(SessionId session) { tally_.end_session(session); }

 private:
  struct Answer {
    std::string values;   // one line, without "OK"
    std::string lines{};  // before it; each with its newline
  };

  // One function a command.
  using Function = Answer (Control::*)(Orders& orders, Time now);
  struct Command {
    std::string_view name;
    std::string_view form;  // what stands behind the name
    std::string_view what;
    Function function;
  };
  static std::span<const Command> commands();
  static const Command& find(const std::string& name);
  Answer set(Orders& orders, Time now);
  Answer step(Orders& orders, Time now);
  Answer call(Orders& orders, Time now);
  Answer rrc(Orders& orders, Time now);
  Answer rail(Orders& orders, Time now);
  Answer error(Orders& orders, Time now);
  Answer fault(Orders& orders, Time now);
  Answer pause(Orders& orders, Time now);
  Answer resume(Orders& orders, Time now);
  Answer next(Orders& orders, Time now);
  Answer seek(Orders& orders, Time now);
  Answer restart(Orders& orders, Time now);
  Answer speed(Orders& orders, Time now);
  Answer status(Orders& orders, Time now);
  Answer record(Orders& orders, Time now);
  Answer capture(Orders& orders, Time now);
  Answer quit(Orders& orders, Time now);
  Answer help(Orders& orders, Time now);

  Answer carry_out(std::string_view line, Time now);
  std::uint32_t take_sub(Orders& orders) const;
  void expect_sub(std::uint32_t sub) const;
  std::size_t take_cell(Orders& orders, const Cells& cells) const;
  Cells cells_of(std::uint32_t sub) const;
  Cells changed(const scenario_change& change) const;
  void expect_under_way() const;
  void apply(scenario_step step, Time now);
  void change(const Cells& cells, Time now);
  void happen(scenario_step step, Time now);
  FaultSurroundings surroundings_of(const scenario_fault& fault) const;
  Answer add_fault(const Orders& orders, Time now);
  Answer clear_faults(Time now);
  Answer list_faults(Time now) const;
  void note_for_records(const std::string& what, Time now);
  std::string when(Time now) const;
  std::string help_for_set() const;

  Performance& performance_;
  std::function<void()> quit_;
  Capturing* const capturing_;
  Recorder recorder_;
  Tally tally_;
  std::string fault_notes_;        // lines, what records have no other way to say
  std::size_t fault_changes_ = 0;  // live
};

}  // namespace kelvane_hub
