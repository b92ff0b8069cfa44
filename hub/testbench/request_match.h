// Requests as scenarios describe them.
#pragma once

#include <cstdint>
#include <string>

#include "hub/scenario/step_source.h"
#include "hub/simulator/link.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// A request that has come.
struct SeenRequest {
  SessionId session;
  std::string sensor;  // its data type; empty: the lookup's, or there is none
  std::uint32_t msg_id;
  std::string payload;
  ScenarioTime at;  // 0 before the start
};

/// "signal_strength_config { sub_id: 0 } to wwan".
std::string text_of(const scenario_request& expected);
std::string text_of(const SeenRequest& seen);

/// Of the same kind, whatever it says.
bool is_same_kind(const scenario_request& expected, const SeenRequest& seen);

/// Says all that is expected.
bool matches(const scenario_request& expected, const SeenRequest& seen);

}  // namespace kelvane_hub
