// libkelvanecapture between a client and a session library that does what the test says.

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "hub/capture_library/captured_session.h"
#include "tests/temporary_folder.h"

namespace kelvane_hub {
namespace {

using com::tarn::kelvane::suid;
using com::tarn::kelvane::session::V1_0::ISession;

constexpr suid sensor{0x0807060504030201, 0x100f0e0d0c0b0a09};

/// The records of a capture, times and lengths left out, as "SESSION DIRECTION MESSAGE".
std::vector<std::string> records_in(const std::string& file) {
  constexpr std::size_t message_at = pcap_record_size + capture_record_size;
  std::vector<std::string> records;
  for (std::size_t at = capture_file_header.size(); at + message_at <= file.size();) {
    const auto size = static_cast<unsigned char>(file[at + 8]) + pcap_record_size;
    records.push_back(std::to_string(file[at + pcap_record_size + 4]) +
                      (file[at + pcap_record_size + 1] == 1 ? " event " : " request ") +
                      file.substr(at + message_at, size - message_at));
    at += size;
    EXPECT_LE(at, file.size());
  }
  return records;
}

std::string bytes_of(const std::filesystem::path& path) {
  std::string bytes(std::filesystem::file_size(path), '\0');
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), file.get()), bytes.size());
  return bytes;
}

/// What the library behind is asked, and what it answers.
struct Behind {
  std::filesystem::path capture;
  std::vector<std::string> calls = {};
  int result = 0;
  ISession::event_callback on_event = {};

  void deliver(const std::string& event) {
    const auto callback = on_event;  // stays, as the interface has it, while it runs
    callback(reinterpret_cast<const std::uint8_t*>(event.data()), event.size(), 7);
  }
};

class InnerSession final : public ISession {
 public:
  explicit InnerSession(Behind& behind) : behind_(behind) {}
  ~InnerSession() override { behind_.calls.emplace_back("delete"); }
  int open() override { return called("open"); }
  int close() override { return called("close"); }
  int register_callback(suid id, callback first, callback second, event_callback on_event) override {
    behind_.on_event = std::move(on_event);
    const std::string given = std::string(first ? " first" : "") + (second ? " second" : "");
    return called("register " + std::to_string(id.suid_low) + given + (behind_.on_event ? " events" : ""));
  }
  int send_request(suid id, const std::string& request) override {
    const auto captured = records_in(bytes_of(behind_.capture));
    return called("send " + std::to_string(id.suid_low) + " " + request +
                  (captured.empty() ? "" : ": " + captured.back()));
  }

 private:
  int called(const std::string& call) {
    behind_.calls.push_back(call);
    return behind_.result;
  }
  Behind& behind_;
};

class CaptureLibrary : public testing::Test {
 protected:
  CaptureLibrary() { behind_.capture = path_; }

  std::unique_ptr<ISession> new_session() {
    if (!file_) file_ = std::make_unique<CaptureFile>(path_);
    return capture_session(std::make_unique<InnerSession>(behind_), *file_);
  }

  const cellscope::test::TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "capture.pcap";
  std::unique_ptr<CaptureFile> file_;
  Behind behind_;
};

TEST_F(CaptureLibrary, EverythingIsPassedOnAndMessagesAreCaptured) {
  auto late = new_session();
  auto session = new_session();
  EXPECT_EQ(session->send_request(sensor, "before open"), 0);
  behind_.result = -1;
  EXPECT_EQ(session->open(), -1);
  EXPECT_EQ(session->send_request(sensor, "after a failure"), -1);
  behind_.result = 3;
  EXPECT_EQ(session->open(), 3);
  EXPECT_EQ(late->open(), 3);
  EXPECT_EQ(session->register_callback(sensor, {}, {}, {}), 3);
  std::string heard;
  EXPECT_EQ(session->register_callback(
                sensor, [] {}, [] {},
                [&](const std::uint8_t* data, std::size_t size, std::size_t third) {
                  heard.assign(data, data + size) += std::to_string(third);
                }),
            3);
  EXPECT_EQ(late->send_request(sensor, "second"), 3);
  EXPECT_EQ(session->send_request(sensor, "first"), 3);
  behind_.deliver("event");
  EXPECT_EQ(heard, "event7");
  EXPECT_EQ(session->close(), 3);
  session.reset();
  const std::string low = std::to_string(sensor.suid_low);
  EXPECT_EQ(behind_.calls,
            (std::vector<std::string>{"send " + low + " before open", "open", "send " + low + " after a failure",
                                      "open", "open", "register " + low, "register " + low + " first second events",
                                      "send " + low + " second: 2 request second",
                                      "send " + low + " first: 1 request first", "close", "delete"}));
  EXPECT_EQ(records_in(bytes_of(path_)),
            (std::vector<std::string>{"2 request second", "1 request first", "1 event event"}));
}

TEST_F(CaptureLibrary, TheFileHasTheFormOfACapture) {
  const auto session = new_session();
  session->open();
  const auto before = std::chrono::system_clock::now().time_since_epoch();
  session->send_request(sensor, "hello");
  std::string file = bytes_of(path_);
  std::uint32_t seconds = 0;
  file.copy(reinterpret_cast<char*>(&seconds), sizeof seconds, capture_file_header.size());
  EXPECT_NEAR(seconds, std::chrono::duration<double>(before).count(), 2);
  file.replace(capture_file_header.size(), 8, "[ time ]");
  const std::string expected = std::string("\x4d\x3c\xb2\xa1\x02\0\x04\0\0\0\0\0\0\0\0\0\x80\0\0\x04\x93\0\0\0", 24) +
                               std::string("[ time ]\x1d\0\0\0\x1d\0\0\0\x01\x02\0\0\x01\0\0\0", 24) +
                               "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10hello";
  EXPECT_EQ(file, expected);
}

TEST_F(CaptureLibrary, ACallbackMayDeleteItsOwnSession) {
  auto session = new_session();
  session->open();
  std::string heard;
  session->register_callback(sensor, {}, {}, [&](const std::uint8_t*, std::size_t, std::size_t) {
    heard = records_in(bytes_of(path_)).back();
    session->close();
    session.reset();
    heard += " deleted";
  });
  behind_.deliver("x");
  EXPECT_EQ(heard, "1 event x deleted");
  EXPECT_EQ(behind_.calls.back(), "delete");
}

TEST_F(CaptureLibrary, ARecordWithoutRoomIsCutOffAndEndsTheCapture) {
  const auto session = new_session();
  session->open();
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit smaller{4096, before.rlim_max};
  testing::internal::CaptureStderr();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &smaller), 0);
  EXPECT_EQ(session->send_request(sensor, "12345"), 0);
  EXPECT_EQ(session->send_request(sensor, std::string(5000, 'x')), 0);
  EXPECT_EQ(session->send_request(sensor, ""), 0);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "libkelvanecapture: the capture " + path_.string() + " ends here: File too large\n");
  EXPECT_EQ(bytes_of(path_).size(), capture_file_header.size() + 45);
}

TEST_F(CaptureLibrary, TheFileIsItsUsersAloneAndNoHubTakesIt) {
  const UniqueFd hub(open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  ASSERT_EQ(flock(hub.get(), LOCK_EX), 0);
  testing::internal::CaptureStderr();
  const CaptureFile refused(path_);
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  ASSERT_EQ(flock(hub.get(), LOCK_UN), 0);
  const auto session = new_session();
  EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(flock(hub.get(), LOCK_EX | LOCK_NB), -1);
}

TEST_F(CaptureLibrary, AForkCapturesNothingAndNoOtherProcessTakesTheFile) {
  const auto session = new_session();
  session->open();
  testing::internal::CaptureStderr();
  const pid_t child = fork();
  if (child == 0) {
    session->send_request(sensor, "of the fork");
    const CaptureFile other(path_);
    _exit(0);
  }
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "libkelvanecapture: cannot capture into " + path_.string() + ": another process captures into it\n");
  session->send_request(sensor, "still here");
  EXPECT_EQ(records_in(bytes_of(path_)), std::vector<std::string>{"1 request still here"});
}

}  // namespace
}  // namespace kelvane_hub
