// Faults as a person orders them.
#pragma once

#include <string>

#include "hub/testbench/orders.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// The fault of "drop msg_id=1281 count=2" or "delay=0.5", in any order, or of a text of a scenario's fault in protobuf
/// text format. Throws InputError if the form is not right; what it says was not checked.
scenario_fault fault_of(Orders orders);

/// What the first form takes, a word a line: "drop", "delay=".
std::string help_for_faults();

}  // namespace kelvane_hub
