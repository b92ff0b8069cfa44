// The process-wide state.
//
// Three threads touch it, without a lock: the main thread (menu or automation, SIGINT's handler) and the session
// library's thread for each session, which is the lookup thread (the lookup's callback, suid_cb) for the session of a
// lookup and the sensor thread (event_cb) for the sensor's. getSuid blocks the main thread while the lookup thread
// connects; that and the pause in suid_cb are the only ordering there is. docs/architecture.md says who reads what.
#pragma once

#include <csignal>
#include <cstdint>
#include <memory>
#include <streambuf>
#include <string>
#include <unordered_map>
#include <vector>

#include "common/line_file.h"
#include "common/suid.h"
#include "kelvane_api.pb.h"

namespace cellscope {

using com::tarn::kelvane::session::V1_0::ISession;

/// Data type of the sensor that was connected last. Written by the menu, the automation operations,
/// connect_to_on_change_sensor and reconnect_to_sensor, on the main thread.
extern std::string data_type;

/// Streaming rate in reports a second or, from -4 to -1, the self-test to run instead. Written by the menu, the
/// automation operations and reconnect_to_sensor, on the main thread.
extern std::int32_t sample_rate;

/// Whether the streaming sensor reports only when asked. Set by the menu on the main thread, never cleared.
extern bool query_mode;

/// The SUIDs of the last lookup answer. Written by the lookup's callback on the lookup thread.
extern std::vector<suid> suid_list;

/// The connected sensor; keeps its value after a disconnect. Written by suid_cb on the lookup thread.
extern suid sensor_suid;

/// 0: streaming sensor, 1: on-change sensor, as the sensor's attributes say. Written by print_sensor_info on the
/// sensor thread.
extern std::int64_t stream_type;

/// The sensor's attributes by their id. Written by event_cb on the sensor thread; entries are never removed.
extern std::unordered_map<std::int32_t, sns_std_attr_value> attribute_cache;

/// Where std::cout goes in automation mode. Opened by the automation set-up, closed by SIGINT's handler; main thread.
extern LineFile output_file;

/// std::cout's own buffer while output_file stands in its place. Written by the automation set-up on the main thread.
extern std::streambuf* saved_cout_buffer;

/// 1 once SIGINT has come. Cleared by the automation set-up, set by the handler; main thread.
extern volatile std::sig_atomic_t stop_requested;

/// The sensor session, which every request goes through; empty while not connected. Set by suid_cb on the lookup
/// thread, cleared by disconnect, exit and SIGINT's handler on the main thread.
extern std::unique_ptr<ISession> session;

}  // namespace cellscope
