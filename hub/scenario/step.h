// What a step of a scenario holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "scenario.pb.h"

namespace kelvane_hub {

/// The event's payload, part of `step`; null if it holds none that the catalogue knows (a raw event is not one).
const google::protobuf::Message* event_in(const scenario_step& step);

/// What happens in the step, as its file calls it: "cells". Of a step in which something does.
const std::string& kind_of(const scenario_step& step);

/// Whether plain steps take its place when a file is read.
bool is_shorthand(const scenario_step& step);

/// The subscription that the step speaks of, 0 if it leaves that open; none if it speaks of none.
std::optional<std::uint32_t> subscription_of(const scenario_step& step);

}  // namespace kelvane_hub
