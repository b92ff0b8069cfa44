#include "session/suid_discovery.h"

#include <unistd.h>

#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <utility>

#include "common/line.h"
#include "common/state.h"
#include "events/event_cb.h"
#include "events/message_ids.h"
#include "events/parse.h"
#include "requests/envelope.h"
#include "requests/message_ids.h"
#include "requests/sensor_requests.h"

namespace cellscope {
namespace {

using com::tarn::kelvane::session::V1_0::sessionFactory;

constexpr int default_hub = -1;
constexpr int open_failed = -1;

std::unique_ptr<ISession> new_session(sessionFactory& factory) {
  return std::unique_ptr<ISession>(factory.getSession(default_hub));
}

suid lookup_suid() {
  const sns_suid_sensor sensor;
  return {sensor.suid_low(), sensor.suid_high()};
}

std::string make_lookup(std::string wanted) {
  sns_suid_req request;
  request.set_data_type(std::move(wanted));
  request.set_register_updates(true);
  request.set_default_only(true);
  return make_envelope(lookup_suid(), MSGID_SUID_REQ, request.SerializeAsString());
}

void store_suids(const sns_suid_event& event) {
  printf("\nReceived SUIDs for %s, number of suids received = %d\n", event.data_type().c_str(), event.suids_size());
  suid_list.resize(static_cast<std::size_t>(event.suids_size()));
  for (int i = 0; i < event.suids_size(); ++i) {
    const auto& found = event.suids(i);
    printf("\nSUID received - suid_low=%" PRIu64 " suid_high=%" PRIu64, found.suid_low(), found.suid_high());
    suid_list[static_cast<std::size_t>(i)] = {found.suid_low(), found.suid_high()};
  }
}

/// The lookup callback: connects, then releases the thread that waits in getSuid. Callback thread.
void handle_lookup_answer(const std::uint8_t* data, std::size_t size, std::mutex& mutex,
                          std::condition_variable& answered) {
  sns_client_event_msg message;
  (void)message.ParseFromArray(data, static_cast<int>(size));
  for (const auto& event : message.events()) {
    if (event.msg_id() != MSGID_SUID_EVENT) {
      printf("\ninvalid event msg_id = %d", static_cast<int>(event.msg_id()));
      continue;
    }
    const auto answer = parse<sns_suid_event>(event.payload());
    store_suids(answer);
    if (answer.suids_size() < 1) continue;
    suid_cb(answer.data_type());
    const std::lock_guard lock(mutex);
    answered.notify_one();
  }
}

void register_event_cb(ISession& opened, suid sensor) {
  if (opened.register_callback(sensor, {}, {}, event_cb) != 0) {
    diagnostic("suid_cb", 923, "all callbacks are null, no need to register it");
  }
  // Twice, and the second result does not count: the library sees the same calls as it always has.
  (void)opened.register_callback(sensor, {}, {}, event_cb);
}

/// Puts a session to `sensor` in the place of the global one. Returns false, with a diagnostic, if it is of no use.
///
/// It gets there only when it is ready: SIGINT's handler may close and delete the global session at any moment.
bool replace_session(sessionFactory& factory, suid sensor) {
  auto created = new_session(factory);
  session.reset();
  if (!created) {
    diagnostic("suid_cb", 910, "failed to create session for suid discovery");
    return false;
  }
  const bool opened = created->open() != open_failed;
  if (opened) {
    register_event_cb(*created, sensor);
  } else {
    diagnostic("suid_cb", 917, "failed to open ISession for suid discovery");
  }
  session = std::move(created);
  return opened;
}

bool is_self_test(std::int32_t rate) { return rate >= -4 && rate <= -1; }

void configure(suid sensor) {
  constexpr unsigned attribute_seconds = 3;
  send_attr_request(sensor);
  // Meanwhile the answer sets stream_type, on the new session's thread.
  sleep(attribute_seconds);
  if (stream_type == 1) {
    send_onchange_config_req(sensor);
  } else if (stream_type == 0) {
    send_config_req(sensor);
  } else {
    diagnostic("suid_cb", 953, "not supported format");
  }
}

}  // namespace

int getSuid(std::string wanted) {
  printf("get Suid");
  const suid lookup = lookup_suid();
  std::mutex mutex;
  std::condition_variable answered;
  const auto factory = std::make_unique<sessionFactory>();
  // After what its callback uses: the session is destroyed first, and with it the callback has ended.
  const std::unique_ptr<ISession> discovery = new_session(*factory);
  if (!discovery) {
    printf("failed to create session for suid discovery");
    return 0;
  }
  if (discovery->open() == open_failed) {
    printf("failed to open ISession for suid discovery");
    return 0;
  }
  const auto callback = [&mutex, &answered](const std::uint8_t* data, std::size_t size, std::size_t) {
    handle_lookup_answer(data, size, mutex, answered);
  };
  if (discovery->register_callback(lookup, {}, {}, callback) != 0) {
    printf("all callbacks are null, no need to register it");
  }
  if (discovery->send_request(lookup, make_lookup(std::move(wanted))) != 0) {
    printf("Error in sending suid discovery request");
    return 0;
  }
  {
    std::unique_lock lock(mutex);
    answered.wait(lock);
  }
  // Not under the lock: close() waits for a callback that runs, and a second answer in there would wait for the lock.
  (void)discovery->close();
  puts("\nSensor suid list created");
  return 1;
}

void suid_cb(const std::string&) {
  if (suid_list.empty()) {
    diagnostic("suid_cb", 958, "FAILED suid not found for given sensor");
    return;
  }
  const suid sensor = suid_list.front();
  const auto factory = std::make_unique<sessionFactory>();
  if (!replace_session(*factory, sensor)) return;
  sensor_suid = sensor;
  if (is_self_test(sample_rate)) {
    send_selftest_req(sensor_suid);
  } else {
    configure(sensor_suid);
  }
}

}  // namespace cellscope
