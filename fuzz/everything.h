// A session that asks a simulated hub for everything it can.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hub/simulator/simulator.h"

namespace kelvane_hub::fuzz {

/// A request as a client sends it.
std::string envelope(std::uint32_t msg_id, const std::string& payload);

/// A request of every kind, the configurations and registrations such that reports follow.
std::vector<std::string> requests_for_everything();

/// Plays `seconds` of `played`, one that was checked, to a session that has asked each sensor for everything.
void play_everything(const PackedScenario& played, int seconds, Delivery& delivery);

/// Takes events for nobody.
struct Nowhere final : Delivery {
  void deliver(const Link&, const std::string&) override {}
};

}  // namespace kelvane_hub::fuzz
