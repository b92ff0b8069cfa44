// What the simulated modem is in at the moment.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

/// The cells of one subscription at some time as a step has them, and the payload that tells of them, with timestamps.
/// All sessions that were told of them share it.
struct CellsAtOnce {
  CellsAtOnce(Cells said, const Cells& told) : cells(std::move(said)), payload(told.SerializeAsString()) {}

  Cells cells;
  std::string payload;
};
using SharedCells = std::shared_ptr<const CellsAtOnce>;

/// The state of one subscription; what the scenario has not spoken of yet is absent.
struct Subscription {
  SharedCells cells;
  /// What those hear at once who register for it: the payload of the last event, by its id.
  std::map<std::uint32_t, std::string> states;
};

/// The subscriptions by their sub id, every one that the scenario has.
using Modem = std::map<std::uint32_t, Subscription>;

}  // namespace kelvane_hub
