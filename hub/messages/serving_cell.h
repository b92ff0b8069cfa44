// The cell that a subscription is served by, and its changes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hub/messages/technologies.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// Refers to the report that it is of.
struct ServingCell {
  const mox_wwan_cell_info* cell;
  const Technology* technology;
  std::string identity;  // what tells it from others of its technology; empty if that is not known
};

/// The first cell that is registered; none if there is none, or its technology is not known.
std::optional<ServingCell> serving_cell_of(const mox_wwan_event_serving_neighboring_cell_info& info);

/// Whether no cell is registered.
bool is_without_service(const mox_wwan_event_serving_neighboring_cell_info& info);

enum class CellChange : std::uint8_t { none, cell, technology };

/// Follows the serving cell of a subscription, report by report.
class ServingCellWatch {
 public:
  /// Whether `serving` has taken the place of another cell of its technology or of another technology. After a time
  /// without a serving cell there is no place to take; a cell whose identity is not known takes none of its technology.
  CellChange take(const std::optional<ServingCell>& serving);

 private:
  const Technology* technology_ = nullptr;
  std::string identity_;  // as far as it is known
};

}  // namespace kelvane_hub
