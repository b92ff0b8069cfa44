// The command that makes messages go wrong.

#include <algorithm>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/fault_check.h"
#include "hub/scenario/fault_scope.h"
#include "hub/scenario/short_text.h"
#include "hub/testbench/control.h"
#include "hub/testbench/fault_orders.h"

namespace kelvane_hub {
namespace {

// Each message is held against each of them.
constexpr std::size_t most_faults = 1000;

constexpr std::size_t most_notes = std::size_t{64} << 10;

}  // namespace

Control::Answer Control::fault(Orders& orders, Time now) {
  const std::string first = orders.words().empty() ? "" : orders.words().front();
  if (first != "list" && first != "clear") return add_fault(orders, now);
  (void)orders.take_word("list or clear");
  orders.expect_none();
  return first == "list" ? list_faults(now) : clear_faults(now);
}

Control::Answer Control::add_fault(const Orders& orders, Time now) {
  const scenario_fault fault = fault_of(orders);
  std::string mistakes;
  for (const std::string& mistake : mistakes_in(fault, surroundings_of(fault))) {
    mistakes += (mistakes.empty() ? "" : "; ") + mistake;
  }
  if (!mistakes.empty()) throw InputError(mistakes);
  Faults& faults = performance_.faults();
  if (faults.all().size() >= most_faults) {
    throw InputError(concat("expected at most ", most_faults, " faults, found one more"));
  }
  faults.add(fault);
  note_for_records(concat("faults { ", short_text(fault), " }"), now);
  return {concat(when(now), " fault=", faults.all().back().number, " what=", kind_of(fault), " seed=", faults.seed())};
}

Control::Answer Control::clear_faults(Time now) {
  Faults& faults = performance_.faults();
  const std::size_t ended = faults.all().size();
  faults.clear();
  if (ended > 0) note_for_records("all faults ended", now);
  return {concat(when(now), " ended=", ended)};
}

Control::Answer Control::list_faults(Time now) const {
  const auto& all = performance_.faults().all();
  std::string lines;
  for (const auto& [number, fault, struck] : all) {
    lines += concat("fault ", number, ": ", short_text(fault), "; has struck ", struck,
                    struck == 1 ? " message\n" : " messages\n");
  }
  return {concat(when(now), " faults=", all.size()), lines};
}

FaultSurroundings Control::surroundings_of(const scenario_fault& fault) const {
  FaultSurroundings surroundings;
  const PackedScenario& played = performance_.played();
  for (const auto& sensor : played.head().sensors()) surroundings.data_types.insert(sensor.data_type());
  // To look through a long scenario takes its time.
  const bool is_known = fault.has_msg_id() && find_event_kind(fault.msg_id()) != nullptr;
  if ((!fault.has_msg_id() || is_known) && !fault.has_unknown_id()) return surroundings;
  // Raw events that happened live count, too.
  for (const PackedScenario* const steps : {&played, &recorder_.recorded()}) {
    if (!steps->kinds().contains("raw")) continue;
    for (std::size_t i = 0; i < steps->steps_size(); ++i) {
      if (const auto step = steps->step(i); step.has_raw()) surroundings.raw_events.insert(step.raw().msg_id());
    }
  }
  return surroundings;
}

/// A fault of a scenario is there from its beginning.
void Control::note_for_records(const std::string& what, Time now) {
  ++fault_changes_;
  if (fault_notes_.size() > most_notes) return;
  fault_notes_ += concat("# Left out, it was live: ", when(now), " ", what, "\n");
  if (fault_notes_.size() > most_notes)
    fault_notes_ += "# Left out, they were live: what happened to faults after that\n";
}

}  // namespace kelvane_hub
