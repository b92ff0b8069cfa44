// Events from the hub, any bytes, to event_cb.

#include "common/state.h"
#include "events/event_cb.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  cellscope::attribute_cache.clear();
  cellscope::stream_type = 0;
  cellscope::event_cb(data, size, 0);
  return 0;
}
