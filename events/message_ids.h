// The message identifiers of the events that come back.
#pragma once

#include <cstdint>

namespace cellscope {

inline constexpr std::uint32_t MSGID_ATTR_EVENT = 128;
inline constexpr std::uint32_t MSGID_ERROR_EVENT = 130;
inline constexpr std::uint32_t MSGID_SUID_EVENT = 768;
inline constexpr std::uint32_t MSGID_AMD_EVENT = 772;
inline constexpr std::uint32_t MSGID_SENSOR_EVENT = 1025;
inline constexpr std::uint32_t MSGID_WWAN_SIGNAL_STRENGTH_CONFIG_STATUS = 1280;
inline constexpr std::uint32_t MSGID_WWAN_SERVING_NEIGHBORING_CELL_INFO = 1281;
inline constexpr std::uint32_t MSGID_WWAN_HIGHSPEED_RAIL_NETWORK_INFO = 1282;
inline constexpr std::uint32_t MSGID_WWAN_VOICE_CALLS = 1283;
inline constexpr std::uint32_t MSGID_WWAN_RRC_STATES_INFO = 1284;
inline constexpr std::uint32_t MSGID_WWAN_CELL_LOCATION_INFO_RESPONSE = 1285;

}  // namespace cellscope
