#include "common/state.h"

namespace cellscope {

std::string data_type = "wwan";
std::int32_t sample_rate = 0;
bool query_mode = false;
std::vector<suid> suid_list;
suid sensor_suid{};
std::int64_t stream_type = 0;
std::unordered_map<std::int32_t, sns_std_attr_value> attribute_cache;
LineFile output_file;
std::streambuf* saved_cout_buffer = nullptr;
volatile std::sig_atomic_t stop_requested = 0;

// Last, so that it is destroyed first: until it is gone, its callback thread may use what stands above.
std::unique_ptr<ISession> session;

}  // namespace cellscope
