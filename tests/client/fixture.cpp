#include "tests/client/fixture.h"

#include <google/protobuf/io/coded_stream.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>

#include "common/state.h"
#include "events/event_cb.h"

namespace cellscope::test {
namespace {

using com::tarn::kelvane::session::V1_0::ISession;
using google::protobuf::io::CodedInputStream;

constexpr std::uint32_t lookup_id = 512;
const pid_t main_thread = gettid();
int sessions_made = 0;
int main_sleeps = 0;
ISession::event_callback newest_callback;

/// Adds a line to what was called. Any thread.
void log_call(const std::string& call) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  platform().calls.push_back(call);
}

/// Waits until the main thread sleeps: it has sent its lookup and waits for the answer.
void wait_until_main_waits() {
  const std::string path = "/proc/self/task/" + std::to_string(main_thread) + "/stat";
  std::string pid;
  std::string name;
  std::string state;
  while (state != "S") {
    std::ifstream(path) >> pid >> name >> state;
    std::this_thread::yield();
  }
}

void give(const ISession::event_callback& callback, const std::string& buffer) {
  callback(reinterpret_cast<const std::uint8_t*>(buffer.data()), buffer.size(), 0);
}

// The fields of the envelope of requests, by number.
constexpr const char* envelope_fields[] = {"", "suid", "susp_config", "request", "msg_id", "client_type"};

class ScriptedSession final : public ISession {
 public:
  explicit ScriptedSession(int number) : number_(number) {}

  ~ScriptedSession() override {
    log("delete");
    if (answering_.joinable()) answering_.join();
  }

  int open() override {
    log("open");
    return scripted(platform().open_result);
  }

  int close() override {
    log("close");
    if (answering_.joinable()) answering_.join();
    return 0;
  }

  int register_callback(suid id, callback first, callback second, event_callback on_event) override {
    EXPECT_FALSE(first);
    EXPECT_FALSE(second);
    log("register", std::to_string(id.suid_low) + " " + std::to_string(id.suid_high));
    callback_ = std::move(on_event);
    newest_callback = callback_;
    return scripted(platform().register_result);
  }

  int send_request(suid id, const std::string& request) override {
    sns_client_request_msg envelope;
    EXPECT_TRUE(envelope.ParseFromString(request));
    EXPECT_EQ(envelope.suid().suid_low(), id.suid_low);
    EXPECT_EQ(envelope.suid().suid_high(), id.suid_high);
    log("send", std::to_string(envelope.msg_id()));
    platform().requests.push_back(fields_of(request, envelope_fields));
    const int result = scripted(platform().send_result);
    if (envelope.msg_id() == lookup_id && result == 0) answer();
    return result;
  }

 private:
  void log(const std::string& call, const std::string& what = "") {
    log_call(call + " " + std::to_string(number_) + (what.empty() ? "" : ": " + what));
  }

  int scripted(int result) const { return platform().affected == 0 || platform().affected == number_ ? result : 0; }

  void answer() {
    answering_ = std::thread([this] {
      while (!sent_) std::this_thread::yield();
      for (const auto& buffer : platform().lookup_answers) {
        wait_until_main_waits();
        give(callback_, buffer);
      }
    });
    sent_ = true;
  }

  int number_;
  event_callback callback_;
  std::thread answering_;
  std::atomic<bool> sent_ = false;
};

}  // namespace

Platform& platform() {
  static Platform instance;
  return instance;
}

std::string fields_of(const std::string& message, std::span<const char* const> names) {
  CodedInputStream input(reinterpret_cast<const std::uint8_t*>(message.data()), static_cast<int>(message.size()));
  std::string text;
  while (const std::uint32_t tag = input.ReadTag()) {
    constexpr std::uint32_t varint = 0;
    constexpr std::uint32_t bytes = 2;
    const std::uint32_t number = tag / 8;
    std::uint64_t value = 0;
    std::string part;
    if ((tag % 8 != varint && tag % 8 != bytes) || !input.ReadVarint64(&value)) return message + " ";
    if (tag % 8 == bytes && !input.ReadString(&part, static_cast<int>(value))) return message + " ";
    text += number < names.size() ? names[number] : std::to_string(number);
    text += tag % 8 == bytes ? " { " + fields_of(part) + "} "
                             : ": " + std::to_string(static_cast<std::int64_t>(value)) + " ";
  }
  return input.ConsumedEntireMessage() ? text : message + " ";
}

std::string buffer_of(const std::vector<Event>& events) {
  sns_client_event_msg message;
  for (const auto& [msg_id, payload] : events) {
    auto& event = *message.add_events();
    event.set_msg_id(msg_id);
    event.set_payload(payload);
  }
  return message.SerializeAsString();
}

std::string suid_answer(const std::vector<suid>& suids) {
  sns_suid_event answer;
  answer.set_data_type("wwan");
  for (const auto& [low, high] : suids) {
    auto& found = *answer.add_suids();
    found.set_suid_low(low);
    found.set_suid_high(high);
  }
  return buffer_of({{768, answer.SerializeAsString()}});
}

sns_std_attr_value integers(const std::vector<std::int64_t>& values) {
  sns_std_attr_value list;
  for (const auto value : values) list.add_values()->set_integer(value);
  return list;
}

std::string stream_type_attribute(std::int64_t type) {
  sns_std_attr_event event;
  auto& attribute = *event.add_attributes();
  attribute.set_attr_id(16);
  *attribute.mutable_value() = integers({type});
  return buffer_of({{128, event.SerializeAsString()}});
}

void ClientTest::SetUp() {
  start_anew();
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
}

void ClientTest::start_anew() {
  session.reset();
  platform() = Platform{};
  platform().lookup_answers = {suid_answer({{7, 9}})};
  platform().attributes = stream_type_attribute(1);
  sessions_made = 0;
  main_sleeps = 0;
  newest_callback = nullptr;
  data_type = "wwan";
  sample_rate = 0;
  query_mode = false;
  suid_list.clear();
  sensor_suid = {};
  stream_type = 0;
  attribute_cache.clear();
  stop_requested = 0;
}

void ClientTest::TearDown() {
  session.reset();
  // What gtest had to say of a failure was captured too.
  const auto out = testing::internal::GetCapturedStdout();
  const auto diagnostics = testing::internal::GetCapturedStderr();
  if (HasFailure()) std::cout << out << diagnostics << std::flush;
  if (recorded_.empty()) return;
  std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
  expect_golden(name.substr(0, name.find('/')), recorded_);
}

void ClientTest::deliver(const std::string& buffer) { give(event_cb, buffer); }

std::string ClientTest::printed() {
  auto text = testing::internal::GetCapturedStdout();
  testing::internal::CaptureStdout();
  return text;
}

std::string ClientTest::diagnosed() {
  auto text = testing::internal::GetCapturedStderr();
  testing::internal::CaptureStderr();
  return text;
}

namespace {

/// `text` with the menu, which is shown in full once, as a word.
std::string without_menu(std::string text) {
  const std::string menu = golden("Menu");
  for (auto at = menu.empty() ? std::string::npos : text.find(menu); at != std::string::npos;
       at = text.find(menu, at + 1)) {
    text.replace(at, menu.size(), "[the menu]\n");
  }
  return text;
}

std::string take_lines(std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : std::exchange(lines, {})) text += line + "\n";
  return text;
}

}  // namespace

void ClientTest::record(const std::string& name) {
  const std::pair<const char*, std::string> parts[] = {{"standard output", without_menu(printed())},
                                                       {"standard error", diagnosed()},
                                                       {"calls", calls()},
                                                       {"requests", requests()}};
  if (!name.empty()) note("==== " + name);
  for (const auto& [heading, text] : parts) {
    if (text.empty()) continue;
    note(std::string("---- ") + heading);
    recorded_ += printable(text) + (text.ends_with('\n') ? "" : "(no newline)\n");
  }
}

std::string ClientTest::calls() { return take_lines(platform().calls); }

std::string ClientTest::requests() { return take_lines(platform().requests); }

void ClientTest::connect() {
  session = std::make_unique<ScriptedSession>(1);
  sensor_suid = {7, 9};
}

void ClientTest::type(const std::string& text) {
  static std::istringstream typed;
  typed = std::istringstream(text);
  std::cin.rdbuf(typed.rdbuf());
  std::cin.clear();
}

}  // namespace cellscope::test

namespace com::tarn::kelvane::session::V1_0 {

ISession* sessionFactory::getSession(int hub_id) {
  using namespace cellscope::test;
  EXPECT_EQ(hub_id, -1);
  const int number = ++sessions_made;
  const bool affected = platform().affected == 0 || platform().affected == number;
  return platform().no_session && affected ? nullptr : new ScriptedSession(number);
}

}  // namespace com::tarn::kelvane::session::V1_0

// In place of libc's.

extern "C" unsigned sleep(unsigned seconds) {
  using namespace cellscope::test;
  log_call("sleep " + std::to_string(seconds));
  if (gettid() != main_thread) {
    give(newest_callback, platform().attributes);
  } else if (platform().on_sleep) {
    platform().on_sleep(++main_sleeps);
  }
  return 0;
}

extern "C" int gettimeofday(timeval* now, void*) noexcept {
  *now = {cellscope::test::platform().now++, 999999};
  return 0;
}
