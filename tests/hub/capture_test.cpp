// Captures: written and read.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <iterator>

#include "hub/base/input_error.h"
#include "hub/capture/wire_line.h"
#include "hub/wire/capture_file.h"
#include "tests/temporary_folder.h"

namespace kelvane_hub {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

const CaptureRecord request{1'795'238'335s + 123'456'789ns, Direction::request, 1, {7, 9}, "asked"};
const CaptureRecord event{1'795'238'336s, Direction::event, 0xfffffffe, {~0ULL, 0}, "\0told\xff"s};

std::string capture_of(const std::vector<CaptureRecord>& records) {
  const cellscope::test::TemporaryFolder folder;
  const auto path = folder / "x.pcap";
  {
    CaptureWriter writer(UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)));
    for (const auto& record : records) writer.write(record);
  }
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

CaptureReader reader_of(const std::string& bytes) {
  return {[left = bytes](std::span<char> room) mutable {
            const auto size = left.copy(room.data(), std::min(room.size(), std::size_t{7}));
            left.erase(0, size);
            return size;
          },
          "x.pcap"};
}

/// All records but for their content, and what is said at the end.
std::string read_all(const std::string& bytes) try {
  CaptureReader reader = reader_of(bytes);
  std::string read;
  while (const auto record = reader.next()) read += record->message + " ";
  return read + reader.cut_off();
} catch (const InputError& error) {
  return error.what();
}

TEST(Capture, IsReadAsItWasWritten) {
  const std::string bytes = capture_of({request, event});
  EXPECT_EQ("\x4d\x3c\xb2\xa1\2\0\4\0\0\0\0\0\0\0\0\0\x80\0\0\4\x93\0\0\0"s, bytes.substr(0, 24));
  EXPECT_EQ("\1\2\0\0\1\0\0\0\7\0\0\0\0\0\0\0\x09\0\0\0\0\0\0\0asked"s, bytes.substr(40, 29));
  CaptureReader reader = reader_of(bytes);
  for (const auto& written : {request, event}) {
    const auto read = reader.next();
    ASSERT_TRUE(read);
    EXPECT_EQ(written.time, read->time);
    EXPECT_EQ(written.direction, read->direction);
    EXPECT_EQ(written.session, read->session);
    EXPECT_EQ(written.sensor.suid_low, read->sensor.suid_low);
    EXPECT_EQ(written.sensor.suid_high, read->sensor.suid_high);
    EXPECT_EQ(written.message, read->message);
  }
  EXPECT_FALSE(reader.next());
  EXPECT_EQ("", reader.cut_off());
}

TEST(Capture, ARecordWithoutRoomIsCutOff) {
  const cellscope::test::TemporaryFolder folder;
  const auto path = folder / "full.pcap";
  const std::string whole = capture_of({request});
  rlimit before{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  {
    CaptureWriter writer(UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)));
    writer.write(request);
    const rlimit smaller{20'000, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &smaller));
    CaptureRecord large = event;
    large.message.assign(19'990, 'x');
    EXPECT_THROW(writer.write(large), std::system_error);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &before));
  }
  (void)std::signal(SIGXFSZ, handler);
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(whole, std::string(std::istreambuf_iterator<char>(file), {}));
}

TEST(Capture, LinesOfTheWireAreChecked) {
  EXPECT_EQ("asked", from_line("1 2 4294967295 7 9 61736b6564").message);
  for (const char* const line : {"1 3 1 7 9 61", "1 258 1 7 9 61", "1 2 4294967296 7 9 61"}) {
    EXPECT_THROW((void)from_line(line), InputError) << line;
  }
}

TEST(Capture, SaysWhatIsWrongAndWhere) {
  const std::string whole = capture_of({request, request});
  struct Case {
    std::size_t at;
    std::string bytes;  // put there; none: the file ends there
    std::string expected;
  };
  const Case cases[] = {
      {24, "", ""},
      {69, "", "asked "},
      {0, "", "x.pcap: byte 0: expected 24 bytes of a pcap file's head, found the end"},
      {70, "", "asked x.pcap: record 2, byte 69: expected 16 bytes of a record's head, found the end after 1"},
      {85, "", "asked x.pcap: record 2, byte 85: expected 29 bytes of a record, found the end"},
      {113, "", "asked x.pcap: record 2, byte 85: expected 29 bytes of a record, found the end after 28"},
      {0, "\x0a\x0d\x0d\x0a",
       "x.pcap: byte 0: expected a pcap file, 0xa1b23c4d or 0xa1b2c3d4, found 0xa0d0d0a (pcapng; "
       "editcap -F nsecpcap makes a pcap file of it)"},
      {4, "\3", "x.pcap: byte 4: expected version 2, found 3"},
      {20, "\1", "x.pcap: byte 20: expected link type 147 (USER0), found 1"},
      {0, "\xd4\xc3\xb2\xa1",
       "x.pcap: record 1, byte 28: expected a fraction of a second, 0 to 999999, found 123456789"},
      {80, "\4", "x.pcap: record 2, byte 77: expected a record of 24 to 67108888 bytes, found one of 67108893"},
      {77, "\5", "x.pcap: record 2, byte 77: expected a record of 24 to 67108888 bytes, found one of 5"},
      {81, "\x1e", "x.pcap: record 2, byte 81: expected a whole message, found 29 bytes of 30"},
      {85, "\2", "x.pcap: record 2, byte 85: expected version 1 of a message's head, found 2"},
      {86, "\3", "x.pcap: record 2, byte 86: expected the direction 1 (event) or 2 (request), found 3"},
  };
  for (const auto& [at, bytes, expected] : cases) {
    std::string wrong = whole;
    if (bytes.empty()) {
      wrong.resize(at);
    } else {
      wrong.replace(at, bytes.size(), bytes);
    }
    EXPECT_EQ(expected, read_all(wrong)) << at;
  }
}

}  // namespace
}  // namespace kelvane_hub
