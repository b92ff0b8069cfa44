// The client in one process with a session library that does what the test says.
//
// The program's sleep() and gettimeofday() are replaced: no test waits, and the clock goes on by a second each time
// that somebody looks at it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/state.h"
#include "mox_wwan_test.pb.h"
#include "tests/golden.h"

namespace cellscope::test {

/// What the scripted session library is to do, and what was done to it.
struct Platform {
  // The session that the results below are for, counted from 1 in the order of creation; 0: all of them.
  int affected = 0;
  bool no_session = false;
  int open_result = 0;
  int register_result = 0;
  int send_result = 0;

  /// The buffers that answer a lookup, on a thread of the library and only once the client waits for them.
  std::vector<std::string> lookup_answers;
  /// What the sensor says while the client sleeps after its attribute request.
  std::string attributes;
  /// Runs in every sleep() of the main thread, which is number `nth` from 1.
  std::function<void(int nth)> on_sleep;

  /// What gettimeofday() says next, in seconds.
  std::int64_t now = 1700000000;

  /// Every call: "open 1", "send 2: MESSAGE ID", "sleep 3", …
  std::vector<std::string> calls;
  /// Every request, as fields_of() shows it.
  std::vector<std::string> requests;
};

Platform& platform();

/// The fields of `message`, "NAME: NUMBER" or "NAME { FIELDS OR TEXT }"; those that `names` does not reach by number. A
/// text that is no message of numbers, texts and messages is shown as it is.
std::string fields_of(const std::string& message, std::span<const char* const> names = {});

/// An event buffer of one or more events, each a message id and a payload.
struct Event {
  std::uint32_t msg_id;
  std::string payload;
};
std::string buffer_of(const std::vector<Event>& events);

/// The buffers of common events.
std::string suid_answer(const std::vector<suid>& suids);
std::string stream_type_attribute(std::int64_t stream_type);
sns_std_attr_value integers(const std::vector<std::int64_t>& values);

/// Fresh state for every test; what it prints is captured. What it has recorded in the end is compared with
/// golden/TEST.txt (tests/golden.h).
class ClientTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Fresh state for the next case of a table.
  void start_anew();

  /// Records what was printed, said, called and requested since the last time, as the case `name`.
  void record(const std::string& name = "");

  /// Records a line.
  void note(const std::string& line) { recorded_ += printable(line) + "\n"; }

  /// Hands a buffer to event_cb.
  void deliver(const std::string& buffer);
  void deliver(std::uint32_t msg_id, const google::protobuf::MessageLite& payload) {
    deliver(buffer_of({{msg_id, payload.SerializeAsString()}}));
  }

  /// What came on standard output and on standard error since the last call.
  std::string printed();
  std::string diagnosed();

  /// The calls and requests since the last call, a line each.
  std::string calls();
  std::string requests();

  /// Makes a session that requests go through, without the trouble of a discovery.
  void connect();

  /// Puts `text` where std::cin reads.
  void type(const std::string& text);

 private:
  std::string recorded_;
};

}  // namespace cellscope::test
