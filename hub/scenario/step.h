// What a step of a scenario holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hub/scenario/step_source.h"
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

/// Gives cells that say no timestamp that of `time`, and its type if they do not say it.
void fill_timestamps(mox_wwan_event_serving_neighboring_cell_info& cells, ScenarioTime time);

}  // namespace kelvane_hub
