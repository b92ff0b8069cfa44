#include <fcntl.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "hub/base/input_error.h"
#include "hub/import/drive_import.h"
#include "hub/scenario/scenario_file.h"
#include "tests/golden.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const std::string header = "Timestamp,NetworkMode,RSRP,RSRQ,SNR,CQI,RSSI,LACHEX,RAWCELLID,NRxRSRP,NRxRSRQ\n";
const std::string start = "2019.12.02_09.39.35,";
const std::string row = start + "LTE,-73,-7,25.0,12,-57,9CBA,87812611,-91.0,-12.0\n";

std::string read_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator(file), {}};
}

std::string error_of(const std::function<void()>& action) try {
  action();
  return "no error";
} catch (const InputError& error) {
  return error.what();
}

/// An empty folder of its own for each test.
class Import : public testing::Test {
 protected:
  Import() { fs::create_directory(folder_); }
  ~Import() override { fs::remove_all(folder_); }

  fs::path write(const std::string& content, const std::string& name = "drive.csv") const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
    return folder_ / name;
  }

  const fs::path folder_ = fs::path(testing::TempDir()) / ("import_test_" + std::to_string(getpid()));
};

TEST_F(Import, TurnsARowIntoCells) {
  constexpr std::optional<Plmn> none;
  const struct {
    std::string values;
    std::optional<Plmn> plmn;
    std::string serving, neighbour;
  } cases[] = {
      {"5G,-84,-12,5.5,15,-67,9CBA,18446744073709551615,-87.5,-17.0", none,
       "6 nr { cell_identity { ci: 18446744073709551615 tac: 40122 } "
       "signal_strength { rsrp: -84 rsrq: -12 rssnr: 6 cqi: 15 } }",
       "6 nr { signal_strength { rsrp: -88 rsrq: -17 } }"},
      {"LTE,-73.4,-0.4,-2.5,12,-57,7fffffff,2147483647,-91,-", Plmn{272, 1},
       "3 lte { cell_identity { mcc: 272 mnc: 1 ci: 2147483647 tac: 2147483647 } "
       "signal_strength { signal_strength: -57 rsrp: -73 rsrq: 0 rssnr: -3 cqi: 12 } }",
       "3 lte { signal_strength { rsrp: -91 } }"},
      {"UMTS,-90,-9,1,2,-70,3FE,0,-95,-11", none,
       "4 wcdma { cell_identity { lac: 1022 cid: 0 } signal_strength { signal_strength: -70 rscp: -90 ecno: -9 } }",
       "4 wcdma { signal_strength { rscp: -95 ecno: -11 } }"},
      {"EDGE,-60,-9,1,2,-70,1,2,-95,-11", none,
       "1 gsm { cell_identity { lac: 1 cid: 2 } signal_strength { signal_strength: -60 } }",
       "1 gsm { signal_strength { signal_strength: -95 } }"},
      {"LTE,-,,-,,-,-,,-,-12", none, "3 lte { }", ""},
      {"GSM,-,-,-,-,-,-,-,-,-", Plmn{1, 999}, "1 gsm { cell_identity { mcc: 1 mnc: 999 } }", ""},
  };
  const auto cell = [](const std::string& registered, const std::string& rest) {
    return "cells { timestamp: 0 timestamp_type: 1 registered: " + registered + " cell_type: " + rest + " } ";
  };
  for (const auto& [values, plmn, serving, neighbour] : cases) {
    const scenario imported = import_drive(write(header + start + values), plmn);
    const std::string expected = cell("true", serving) + (neighbour.empty() ? "" : cell("false", neighbour));
    EXPECT_EQ(imported.ShortDebugString(), "steps { at: 0 cells { " + expected + "sub: 0 } }") << values;
  }
}

TEST_F(Import, KeepsTheOrderOfRows) {
  const std::tuple<std::string, double, std::string, int> rows[] = {
      {"2020.02.28_23.59.59", 0, "5G", 6},         {"2020.02.29_00.00.00", 1, "LTE", 3},
      {"2020.02.29_00.00.00", 1, "UMTS", 4},       {"2020.03.01_00.00.00", 86'401, "HSPA", 4},
      {"2020.03.01_00.00.00", 86'401, "HSPA+", 4}, {"2020.03.01_00.00.00", 86'401, "HSDPA", 4},
      {"2020.03.01_01.00.00", 90'001, "HSUPA", 4}, {"2020.03.01_01.01.00", 90'061, "GSM", 1},
      {"2020.03.01_01.01.01", 90'062, "GPRS", 1},  {"2020.06.23_17.46.39", 10'000'000, "EDGE", 1}};
  std::string text = header;
  for (const auto& [timestamp, at, mode, type] : rows) text += timestamp + ',' + mode + ",-,-,-,-,-,-,-,-,-\n";
  const scenario imported = import_drive(write(text), {});
  ASSERT_EQ(imported.steps_size(), std::size(rows));
  for (int i = 0; const auto& [timestamp, at, mode, type] : rows) {
    const scenario_step& step = imported.steps(i++);
    EXPECT_EQ(step.at(), at) << timestamp;
    EXPECT_EQ(static_cast<double>(step.cells().cells(0).timestamp()), at * 1e9) << timestamp;
    EXPECT_EQ(step.cells().cells(0).cell_type(), type) << mode;
  }
}

TEST_F(Import, ToleratesOtherForms) {
  const std::string plain = import_drive(write(header + row + row), {}).DebugString();
  const auto with_cr = [](const std::string& line) { return line.substr(0, line.size() - 1) + "\r\n"; };
  const std::string swapped_header =
      "X,NRxRSRQ,NRxRSRP,RAWCELLID,LACHEX,RSSI,CQI,X,SNR,RSRQ,RSRP,NetworkMode,Timestamp\n";
  const std::string swapped = "a\"b,-12,-91,87812611,9cba,-57,12,,25,-7,-73,LTE,2019.12.02_09.39.35\n";
  const std::pair<const char*, std::string> cases[] = {
      {"CRLF", with_cr(header) + with_cr(row) + with_cr(row)},
      {"byte order mark", "\xEF\xBB\xBF" + header + row + row},
      {"no newline at the end", header + row + row.substr(0, row.size() - 1)},
      {"blank lines", "\n" + header + "\n" + row + " \t\r\n" + row + "\r\n\n"},
      {"other columns in another order", swapped_header + swapped + swapped},
      {"padding", header + row + start + " LTE,\t-73 ,-7,25.0,12,-57,9CBA,87812611,-91.0,-12.0 \n"},
      {"a line of the greatest length",
       "X," + header + "x," + row + std::string((1 << 24) - 1 - row.size(), 'x') + ',' + row},
  };
  for (const auto& [name, text] : cases) EXPECT_EQ(import_drive(write(text), {}).DebugString(), plain) << name;
}

TEST_F(Import, NamesThePlaceOfWhatIsMalformed) {
  const std::string no_values = ",-,-,-,-,-,-,-,-,-\n";
  const std::string later_row = row.substr(start.size() - 1);
  std::vector<std::string> texts = {
      "",
      header,
      header + "\r\n\n",
      "\nRSRP,Timestamp\r\n",
      "RSRP," + header + row,
      header + row + "\n" + start + "LTE,-73\n",
      "\nX," + header + row,
      header + start + row,
      header + row + row + "x" + "\0"s + row,
      header + row + std::string(1 << 24, 'x') + '\n' + row,
      header + row + start + "WiFi" + no_values,
      header + start + "5G,-,-,-,-,-,-,18446744073709551616,-,-",
      header + row + "2019.12.02_09.39.37" + later_row + "2019.12.02_09.39.36" + later_row,
      header + row + "2020.03.27_03.26.16" + later_row,
  };
  for (const char* values :
       {"x,-,-,-,-,-,-,-,-", "-,-7dB,-,-,-,-,-,-,-", "-,-,nan,-,-,-,-,-,-", "-,-,-,-inf,-,-,-,-,-",
        "-,-,-,-,2147483647.5,-,-,-,-", "-,-,-,-,-,-,-,-2147483648.5,-", "-,-,-,-,-,-,-,-,1e999",
        "-,-,-,-,-,9CBG,-,-,-", "-,-,-,-,-,80000000,-,-,-", "-,-,-,-,-,-,2147483648,-,-", "-,-,-,-,-,-,-1,-,-"}) {
    texts.push_back(header + start + "LTE," + values);
  }
  for (const char* time : {"", "2019.02.29_00.00.00", "2019.01.01_24.00.00", "2019.01.01_00.60.00",
                           "2019.01.01_00.00.60", "2019-01-01_00.00.00", "2019.01.01_00.00.00Z\xC3\xA9\x7F"}) {
    texts.push_back(header + time + ",LTE" + no_values);
  }
  std::string mistakes;
  for (const auto& text : texts) {
    const fs::path csv = write(text);
    const std::string error = error_of([&] { import_drive(csv, {}); });
    mistakes += cellscope::test::printable(text.substr(0, 300)) + (text.size() > 300 ? "..." : "");
    mistakes += (text.ends_with('\n') ? "  " : "\n  ") + error.substr(csv.parent_path().string().size() + 1) + "\n";
  }
  cellscope::test::expect_golden("ImportMistakes", mistakes);
}

TEST_F(Import, SaysWhyAFileCannotBeReadOrWritten) {
  const std::string missing = folder_ / std::string(200, 'x') / std::string(200, 'y');
  EXPECT_EQ(error_of([&] { import_drive(missing, {}); }), missing + ": cannot read it: No such file or directory");
  EXPECT_EQ(error_of([&] { write_scenario({}, missing); }), missing + ": No such file or directory");
  EXPECT_EQ(error_of([&] { import_drive(folder_, {}); }), folder_.string() + ": expected a file, found a folder");
  EXPECT_EQ(error_of([&] { import_drive("/proc/self/mem", {}); }),
            "/proc/self/mem: cannot read it: Input/output error");
  EXPECT_EQ(error_of([&] { write_scenario({}, folder_); }), folder_.string() + ": Is a directory");
}

TEST(ParsePlmn, ReadsOnlyTheWholeForm) {
  const std::tuple<std::string, int, int> networks[] = {{"272-01", 272, 1}, {"001-999", 1, 999}};
  for (const auto& [text, mcc, mnc] : networks) {
    const Plmn plmn = parse_plmn(text);
    EXPECT_EQ(std::pair(plmn.mcc, plmn.mnc), std::pair(mcc, mnc)) << text;
  }
  for (const auto* const text : {"", "27201", "272-1", "272-0001", "27-201", "272-01 ", "+72-01", "x272-01"}) {
    EXPECT_EQ(error_of([&] { parse_plmn(text); }), "expected a network such as 272-01, found '"s + text + "'");
  }
}

// ---- writing ----

scenario scenario_of(const std::string& text) {
  scenario parsed;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &parsed)) << text;
  return parsed;
}

class WriteScenario : public Import {
 protected:
  auto count_files() const { return std::distance(fs::directory_iterator(folder_), {}); }

  const std::string step_ = "steps { at: 0.5 cells { cells { registered: false lte { } } sub: 0 } }\n";
  const fs::path target_ = folder_ / "drive.textproto";
};

TEST_F(WriteScenario, KeepsEverythingAStepALine) {
  const std::string text = R"(description: "\"a\"\n\303\251"
sensors { data_type: "wwan" suid { suid_low: 1 suid_high: 18446744073709551615 } }
sensors { }
steps { at: 0 cells { cells { registered: false lte { } } sub: 0 } }
steps { at: 0.1 raw { msg_id: 7 payload: "\000\377" } }
steps { }
repeat_after: 1e+300
)";
  write_scenario(scenario_of(text), target_);
  EXPECT_EQ(read_file(target_), text);
}

TEST_F(WriteScenario, ReplacesAFileButKeepsItsModeAndItsLinks) {
  const fs::path link = folder_ / "link";
  write("old", "drive.textproto");
  fs::permissions(target_, fs::perms::owner_read);
  fs::create_symlink("drive.textproto", link);
  write_scenario(scenario_of(step_), link);
  EXPECT_EQ(read_file(target_), step_);
  EXPECT_EQ(fs::status(target_).permissions(), fs::perms::owner_read);
  EXPECT_EQ(count_files(), 2);
  EXPECT_TRUE(fs::is_symlink(link));
}

TEST_F(WriteScenario, LeavesTheOldFileWhenTheNewOneDoesNotFit) {
  write("old", "drive.textproto");
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit old_limit{};
  getrlimit(RLIMIT_FSIZE, &old_limit);
  for (const std::size_t size : {100U, 100'000U}) {  // with and without room in a stream's buffer
    const scenario imported = scenario_of("description: '" + std::string(size, 'x') + "'");
    const rlimit limit{10, old_limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string error = error_of([&] { write_scenario(imported, target_); });
    setrlimit(RLIMIT_FSIZE, &old_limit);
    EXPECT_EQ(error, target_.string() + ": File too large") << size;
    EXPECT_EQ(read_file(target_), "old") << size;
    EXPECT_EQ(count_files(), 1) << size;
  }
  std::signal(SIGXFSZ, old_handler);
}

TEST_F(WriteScenario, WritesIntoWhatIsNotAFile) {
  const fs::path pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int ends[] = {open(pipe.c_str(), O_RDWR | O_NONBLOCK),
                      open(write("before\n", "drive.textproto").c_str(), O_WRONLY | O_APPEND)};
  write_scenario(scenario_of(step_), pipe);
  write_scenario(scenario_of(step_), "/dev/fd/" + std::to_string(ends[1]));
  std::string piped(step_.size(), ' ');
  EXPECT_EQ(read(ends[0], piped.data(), piped.size()), std::ssize(step_));
  EXPECT_EQ(piped, step_);
  EXPECT_EQ(read_file(target_), "before\n" + step_);
  for (const int end : ends) close(end);
}

}  // namespace
}  // namespace kelvane_hub
