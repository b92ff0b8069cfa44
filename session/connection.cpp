#include "session/connection.h"

#include <cstdio>

#include "common/state.h"
#include "session/suid_discovery.h"

namespace cellscope {

void connect_to_on_change_sensor() {
  data_type = "wwan";
  getSuid(data_type);
}

void reconnect_to_sensor() {
  printf("sensor name is %s \n", data_type.c_str());
  if (data_type == "wwan") {
    connect_to_on_change_sensor();
  } else if (data_type == "wwan_stream") {
    if (query_mode) sample_rate = 0;
    getSuid(data_type);
  }
}

void close_session() {
  if (!session) return;
  (void)session->close();
  session.reset();
}

}  // namespace cellscope
