// The message identifiers of the requests that this program sends.
#pragma once

#include <cstdint>

namespace cellscope {

inline constexpr std::uint32_t MSGID_ATTR_REQ = 1;
inline constexpr std::uint32_t MSGID_SUID_REQ = 512;
inline constexpr std::uint32_t MSGID_ON_CHANGE_CONFIG = 514;
inline constexpr std::uint32_t MSGID_SELF_TEST_CONFIG = 515;
inline constexpr std::uint32_t MSGID_WWAN_SIGNAL_STRENGTH_CONFIG = 640;
inline constexpr std::uint32_t MSGID_WWAN_SENSOR_CONFIG = 641;
inline constexpr std::uint32_t MSGID_WWAN_STREAMING_CONFIG = 642;
inline constexpr std::uint32_t MSGID_WWAN_GET_CELL_LOCATION_INFO = 643;

}  // namespace cellscope
