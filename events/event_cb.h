// The event callback of the sensor session.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cellscope {

/// Handles every event of `data`, `size` bytes that hold one serialised sns_client_event_msg, in order: prints its
/// report on std::cout, its diagnostic on standard error, or keeps its attributes. Malformed bytes are handled as far
/// as they can be read. Runs on the session library's callback thread; throws nothing.
void event_cb(const std::uint8_t* data, std::size_t size, std::size_t);

}  // namespace cellscope
