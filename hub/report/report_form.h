// The form in which cellscope prints events; that of a cell's parts stands with its technology.
#pragma once

#include <google/protobuf/message.h>

#include <span>
#include <string_view>

#include "hub/messages/technologies.h"

namespace kelvane_hub {

/// The values that reports have of a message of that type, in their order; not those of the messages that it holds.
/// Throws std::logic_error for a message that is not reported.
std::span<const PrintedField> printed_fields(const google::protobuf::Descriptor& type);

/// Whether there is a report of such messages.
bool is_reported(const google::protobuf::Message& message);

/// A part of `cell` as it is printed: an empty one if it is absent.
const google::protobuf::Message& part_of(const mox_wwan_cell_info& cell, const Technology& technology,
                                         std::string_view part);

/// What stands before the number of cells, and of subscriptions where several report theirs.
inline constexpr std::string_view number_of_cells = "serving neighboring cell info. Number of cells: ";

}  // namespace kelvane_hub
