// The session library of the sensor hub: all that cellscope knows of the platform.
//
// Whoever implements libkelvanesession needs this header only. The order of the virtual functions is part of the
// binary interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace com::tarn::kelvane {

/// The 128-bit unique identifier of a sensor.
struct suid {
  std::uint64_t suid_low;
  std::uint64_t suid_high;
};

namespace session::V1_0 {

/// One client's connection to the sensor hub.
///
/// No function throws. The caller owns the object and destroys it with `delete`, closed or not.
class ISession {
 public:
  /// The two callbacks before the event callback; cellscope leaves them empty.
  using callback = std::function<void()>;

  /// Receives one serialised sns_client_event_msg: `data` holds `size` bytes and is valid during the call only. The
  /// third argument is not used. Runs on a thread of the library.
  using event_callback = std::function<void(const std::uint8_t* data, std::size_t size, std::size_t)>;

  /// Connects to the hub. Returns -1 if that failed, anything else if the session is open.
  virtual int open() = 0;

  /// Ends the session: after it has returned on another thread, no callback runs.
  virtual int close() = 0;

  /// From now on the events of the sensor `id` go to `on_event`. Returns 0, or non-zero if nothing was registered.
  virtual int register_callback(suid id, callback first, callback second, event_callback on_event) = 0;

  /// Sends `request`, a serialised sns_client_request_msg, to the sensor `id`. Returns 0 if it was handed over.
  virtual int send_request(suid id, const std::string& request) = 0;

  virtual ~ISession() = default;
};

/// Makes sessions. Has no state.
class sessionFactory {
 public:
  /// Returns a new, unopened session that the caller owns, or null. Which hub `hub_id` selects is the platform's
  /// business; -1 is the default one.
  ISession* getSession(int hub_id);
};

}  // namespace session::V1_0
}  // namespace com::tarn::kelvane
