// The message identifiers that a hub knows.
#pragma once

#include <cstdint>

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
  self_test_event = 1025,
  signal_strength_config_status = 1280,
  cells_event = 1281,
  highspeed_rail_event = 1282,
  voice_calls_event = 1283,
  rrc_states_event = 1284,
  cell_location_event = 1285,
};

/// What an error event says.
enum class HubError : std::int32_t {
  not_supported = 1,  // a request that the sensor does not know
  invalid_value = 2,  // a request that it knows, with a value that it cannot take
  no_such_sensor = 3,
  malformed = 4,  // bytes that are no request
  busy = 5,       // more lookups at a time than anybody needs
};

}  // namespace kelvane_hub
