// Which messages a fault is about.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "scenario.pb.h"

namespace kelvane_hub {

/// As the scenario says it, or as the kind of fault has it.
scenario_fault::Direction direction_of(const scenario_fault& fault);

/// Likewise; none: any.
std::optional<std::uint32_t> msg_id_of(const scenario_fault& fault);

/// "drop"; empty if the fault does not say what goes wrong.
std::string kind_of(const scenario_fault& fault);

/// What the kind of fault can be about only; none: anything.
struct FaultScope {
  std::optional<scenario_fault::Direction> direction;
  std::optional<std::uint32_t> msg_id;
};
FaultScope scope_of(scenario_fault::WhatCase kind);

}  // namespace kelvane_hub
