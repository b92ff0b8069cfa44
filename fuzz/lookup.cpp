// The answer to a lookup, any bytes, on its way through getSuid: discovery, connection, attributes, configuration.

#include "common/state.h"
#include "fuzz/scripted_session.h"
#include "session/suid_discovery.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  cellscope::fuzz::start_anew({reinterpret_cast<const char*>(data), size});
  // From a self-test to the reports of a streaming sensor.
  cellscope::sample_rate = static_cast<std::int32_t>(size % 8) - 5;
  cellscope::getSuid("wwan");
  return 0;
}
