// What each kind of fault does to a message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "hub/base/chance.h"
#include "hub/base/party.h"
#include "hub/messages/errors.h"
#include "hub/simulator/link.h"
#include "kelvane_api.pb.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// A request or an event on its way, and what is to become of it.
struct Message {
  scenario_fault::Direction direction{};
  Link link{};
  Time now{};                // when it was sent
  std::uint64_t number = 0;  // from 1, of its session and direction
  std::string data_type{};   // of its sensor; of a lookup, the one that is looked up
  // As it is in its envelope.
  std::uint32_t msg_id = 0;
  std::string payload{};

  bool is_lost = false;
  bool is_swapped = false;  // comes after the next one
  std::size_t copies = 1;
  Time delay{};
  std::optional<HubError> refusal{};  // of a request: what it is answered with
  std::optional<Time> gone_until{};   // the sensors of the data type are gone
  bool is_cut = false;                // the session's connection
  bool is_restart = false;            // of the hub
};

/// How long it holds something up, each time; 0: not at all, or for ever.
double seconds_of(const scenario_fault& fault);

/// Does what `fault` says to `message`, and says what that is in a few words; empty: there was nothing to be done.
std::string strike(const scenario_fault& fault, Message& message, Chance& chance);

}  // namespace kelvane_hub
