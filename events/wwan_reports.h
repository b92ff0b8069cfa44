// The reports of the WWAN sensor's events, one function an event.
//
// Each takes the event's payload and the log time (seconds since 1970) of the delivery that it came in, and prints on
// std::cout. All run on the session library's callback thread.
#pragma once

#include <cstdint>
#include <string>

namespace cellscope {

void report_cells(const std::string& payload, std::int64_t time);
void report_highspeed_rail(const std::string& payload, std::int64_t time);
void report_config_status(const std::string& payload, std::int64_t time);
void report_voice_calls(const std::string& payload, std::int64_t time);
void report_cell_location(const std::string& payload, std::int64_t time);
void report_rrc_states(const std::string& payload, std::int64_t time);

}  // namespace cellscope
