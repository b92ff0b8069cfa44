// Every message that a client and a hub exchange. Whoever lists, names or decodes messages reads this table.
#pragma once

#include <google/protobuf/message.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace kelvane_hub {

enum RequestId : std::uint32_t {
  attribute_request = 1,
  lookup_request = 512,
  on_change_config = 514,
  self_test_config = 515,
  signal_strength_config = 640,
  report_registration = 641,
  streaming_config = 642,
  cell_location_query = 643,
};

enum EventId : std::uint32_t {
  attribute_event = 128,
  error_event = 130,
  lookup_event = 768,
  motion_event = 772,
  self_test_event = 1025,
  signal_strength_config_status = 1280,
  cells_event = 1281,
  highspeed_rail_event = 1282,
  voice_calls_event = 1283,
  rrc_states_event = 1284,
  cell_location_event = 1285,
};

/// A request or an event.
struct MessageKind {
  std::uint32_t id;
  std::string_view name;  // as machines are told it
  /// An empty message of the payload's type; null: such a message has no payload.
  const google::protobuf::Message* (*payload)();
};

/// Both in the order of their ids, which are ids of their own: a request and an event may share one.
std::span<const MessageKind> request_kinds();
std::span<const MessageKind> event_kinds();

/// Null if there is none of that id.
const MessageKind* find_request_kind(std::uint32_t id);
const MessageKind* find_event_kind(std::uint32_t id);

/// The event whose payload is of this type; null if there is none.
const MessageKind* find_event_kind(const google::protobuf::Descriptor& payload);

}  // namespace kelvane_hub
