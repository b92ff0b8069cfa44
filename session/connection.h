// Connecting, reconnecting and disconnecting the WWAN sensor. Main thread.
#pragma once

namespace cellscope {

/// Connects to the on-change sensor; blocks as getSuid does.
void connect_to_on_change_sensor();

/// Connects again to the sensor that data_type names; blocks as getSuid does. A streaming sensor in query mode starts
/// with a sample_rate of 0, otherwise the last one is used again.
void reconnect_to_sensor();

/// Closes and deletes the global session, if there is one. sensor_suid and data_type stay.
void close_session();

}  // namespace cellscope
