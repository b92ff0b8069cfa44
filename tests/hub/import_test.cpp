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
#include <regex>
#include <string>
#include <tuple>
#include <utility>

#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/base/unique_fd.h"
#include "hub/commands/commands.h"
#include "hub/import/drive_import.h"
#include "hub/import/profile.h"
#include "hub/scenario/scenario_file.h"
#include "tests/golden.h"
#include "tests/temporary_folder.h"

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

scenario imported(const std::string& text, std::optional<Plmn> plmn = {}, const import_profile& profile = {}) {
  return to_scenario(read_drive("drives/drive.csv", text, profile), plmn);
}

TEST(Import, TurnsARowIntoCells) {
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
      {"LTE,-199.9,200,-200,2147483647,-1e300,-,-,199,-200", none, "3 lte { signal_strength { rsrp: -200 } }",
       "3 lte { signal_strength { rsrp: 199 } }"},
      {"lte,-,-,-,-,-,-,-,2147483647,-12", none, "3 lte { }", ""},
      {"GSM,-,-,-,-,-,-,-,-,-", Plmn{1, 999}, "1 gsm { cell_identity { mcc: 1 mnc: 999 } }", ""},
      {"-,-73,-7,25.0,12,-57,9CBA,87812611,-91.0,-12.0", Plmn{272, 1}, "", ""},
      {"UNKNOWN,x,-7,25.0,12,-57,9CBA,-1,-91.0,-12.0", none, "", ""},
  };
  const auto cell = [](const std::string& registered, const std::string& rest) {
    if (rest.empty()) return ""s;
    return "cells { timestamp: 0 timestamp_type: 1 registered: " + registered + " cell_type: " + rest + " } ";
  };
  for (const auto& [values, plmn, serving, neighbour] : cases) {
    EXPECT_EQ(imported(header + start + values, plmn).steps(0).ShortDebugString(),
              "at: 0 cells { " + cell("true", serving) + cell("false", neighbour) + "sub: 0 }")
        << values;
  }
}

TEST(Import, KeepsTheOrderOfRows) {
  const std::tuple<std::string, double, std::string, int> rows[] = {
      {"2020.02.28_23.59.59", 0, "5G", 6},         {"2020.02.29_00.00.00", 1, "LTE", 3},
      {"2020.02.29_00.00.00", 1, "UMTS", 4},       {"2020.03.01_00.00.00", 86'401, "HSPA", 4},
      {"2020.02.28_23.59.58", 86'401, "HSPA+", 4}, {"2020.02.28_23.59.59", 86'401, "HSDPA", 4},
      {"2020.03.01_01.00.00", 90'001, "HSUPA", 4}, {"2020.03.01_01.01.00", 90'061, "GSM", 1},
      {"2020.03.01_01.01.01", 90'062, "GPRS", 1},  {"2020.06.23_17.46.39", 10'000'000, "EDGE", 1}};
  std::string text = header;
  for (const auto& [timestamp, at, mode, type] : rows) text += timestamp + ',' + mode + ",-,-,-,-,-,-,-,-,-\n";
  const scenario drive = imported(text);
  ASSERT_EQ(drive.steps_size(), std::size(rows));
  for (int i = 0; const auto& [timestamp, at, mode, type] : rows) {
    const scenario_step& step = drive.steps(i++);
    EXPECT_EQ(step.at(), at) << timestamp;
    EXPECT_EQ(static_cast<double>(step.cells().cells(0).timestamp()), at * 1e9) << timestamp;
    EXPECT_EQ(step.cells().cells(0).cell_type(), type) << mode;
  }
}

TEST(Import, ReadsTimesOfManyForms) {
  const std::pair<const char*, std::uint64_t> cases[] = {
      {"2019.12.02_08.39.35.5", 500'000'000},
      {"2019-12-02T08:39:35Z", 0},
      {"2019-12-02 08:39:35", 0},
      {"2019-12-02T08:39:35.123456789", 123'456'789},
      {"2019-12-02T09:39:35.000000001999+01:00", 1},
      {"2019-12-02 04:09:36 -0430", 1'000'000'000},
      {"\"2019-12-02T10:39:35,25+02\"", 250'000'000},
      {"1575275975", 0},
      {"1575275975.000000001", 1},
      {"1575275975999", 999'000'000},
      {"1575275975000.5", 500'000},
  };
  for (const auto& [time, since] : cases) {
    const scenario drive = imported("Timestamp,NetworkMode\n2019-12-02T08:39:35Z,LTE\n"s + time + ",LTE\n");
    EXPECT_EQ(drive.steps(1).cells().cells(0).timestamp(), since) << time;
    EXPECT_EQ(drive.steps(1).at(), static_cast<double>(since) / 1e9) << time;
  }
}

TEST(Import, ToleratesOtherForms) {
  const std::string plain = imported(header + row + row).DebugString();
  const auto with = [](const std::string& from, const std::string& to) {
    std::string text = header + row + row;
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
      text.replace(at, from.size(), to);
    }
    return text;
  };
  const std::string swapped_header =
      "X,NRxRSRQ,NRxRSRP,RAWCELLID,LACHEX,RSSI,CQI,rsrp,SNR,RSRQ,RSRP,NetworkMode,Timestamp\n";
  const std::string swapped = "a\"b,-12,-91,87812611,9cba,-57,12,,25,-7,-73,LTE,2019.12.02_09.39.35\n";
  const std::pair<const char*, std::string> cases[] = {
      {"CRLF", with("\n", "\r\n")},
      {"byte order mark", "\xEF\xBB\xBF" + header + row + row},
      {"no newline at the end", header + row + row.substr(0, row.size() - 1)},
      {"blank lines", "\n" + header + "\n" + row + " \t\r\n" + row + "\r\n\n"},
      {"other columns in another order", swapped_header + swapped + swapped},
      {"padding", with("LTE", " LTE\t")},
      {"semicolons", with(",", ";")},
      {"decimal commas", std::regex_replace(with(",", ";"), std::regex("\\.0(?=[;\n])"), ",0")},
      {"tabs", with(",", "\t")},
      {"quotes", "\"a \"\"b\"\";,\nc\"," + header + "\"\"," + row + " \",;\n\" ,\"2019.12.02_09.39.35\"\t" +
                     row.substr(start.size() - 1)},
      {"any case", with("Timestamp,NetworkMode,RSRP", "TIMESTAMP,networkmode,rsrp")},
  };
  for (const auto& [name, text] : cases) EXPECT_EQ(imported(text).DebugString(), plain) << name;
}

TEST(Import, SaysWhatWasLeftOut) {
  const std::string text =
      "NetworkMode;Timestamp;rsrp;RSRQ;SNR;RSSI;NRxRSRP;NRxRSRQ;X\n"
      "LTE;1000.5;-;200;1,5;;-;-12;\n"
      "5G;1002;-80;-;;-57;-90;-10;\n"
      "5G;1001;-80;-7;;-57;-90;-10;\"\n\"\n"
      "-;1001;-80;-7;-;-57;-90;-10;\n"
      "GSM;1003;-80;-;-;-;-90;-10;\n"
      "LTE;1002;-80;-;-;-;-90;-10;\n";
  const Drive drive = read_drive("drives/drive.csv", text, {});
  EXPECT_EQ(to_scenario(drive, {}).description(), "drive.csv: 6 rows in 2.5 s");
  EXPECT_EQ(
      drive.summary.text(),
      "drives/drive.csv: 6 rows in 2.5 s: 2 LTE, 2 5G, 1 without service, 1 GSM\n"
      "drives/drive.csv: no column CQI, LACHEX, RAWCELLID\n"
      "drives/drive.csv: left out of rsrp: 1 not measured (first in line 2), 1 in a row without service (first in "
      "line 6)\n"
      "drives/drive.csv: left out of RSRQ: 3 not measured (first in line 3), 1 with a code for \"not measured\" "
      "(first in line 2), 1 in a row without service (first in line 6)\n"
      "drives/drive.csv: left out of SNR: 5 not measured (first in line 3)\n"
      "drives/drive.csv: left out of RSSI: 3 not measured (first in line 2), 2 that the cell type has no field for "
      "(first in line 3), 1 in a row without service (first in line 6)\n"
      "drives/drive.csv: left out of NRxRSRP: 1 not measured (first in line 2), 1 in a row without service (first "
      "in line 6)\n"
      "drives/drive.csv: left out of NRxRSRQ: 1 that the cell type has no field for (first in line 7), 1 of a "
      "neighbour without power (first in line 2), 1 in a row without service (first in line 6)\n"
      "drives/drive.csv:4: the clock went back: the rows up to line 6 happen at the time of the row above\n"
      "drives/drive.csv:8: the clock went back: the row happens at the time of the row above\n");
}

TEST(Import, NamesThePlaceOfWhatIsMalformed) {
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
      header + row + '"' + row,
      header + row + "\"2019\" 12," + later_row,
      header + row + start + "WiFi" + no_values,
      header + start + no_values,
      header + start + "5G,-,-,-,-,-,-,18446744073709551616,-,-",
      header + row + "2020.03.27_03.26.16" + later_row,
  };
  for (const char* values : {"x,-,-,-,-,-,-,-,-", "-,-7dB,-,-,-,-,-,-,-", "-,-,nan,-,-,-,-,-,-", "-,-,-,-inf,-,-,-,-,-",
                             "-,-,-,-,\"-57,5\",-,-,-,-", "-,-,-,-,-,-,-,-,1e999", "-,-,-,-,-,9CBG,-,-,-",
                             "-,-,-,-,-,80000000,-,-,-", "-,-,-,-,-,-,2147483648,-,-", "-,-,-,-,-,-,-1,-,-"}) {
    texts.push_back(header + start + "LTE," + values);
  }
  texts.emplace_back("Timestamp;NetworkMode;RSRP\n1;LTE;1,234.5\n");
  texts.emplace_back("Timestamp;NetworkMode;RSRP\n1;LTE;1,234,5\n");
  for (const char* time :
       {"", "2019.02.29_00.00.00", "2019.01.01_24.00.00", "2019.01.01_00.60.00", "2019.01.01_00.00.60",
        "2019-01-01_00.00.00", "2019.01.01_00.00.00Z\xC3\xA9\x7F", "2019-01-01T00:00:00.", "2019-01-01T00:00:00+1",
        "2019-01-01T00:00:00+24", "2019-01-01T00:00:00 +00:60", "1969-12-31T23:59:59", "2201-01-01 00:00:00",
        "7289654400", "7289654400000", "1e9", "99999999999999999999"}) {
    texts.push_back(header + time + ",LTE" + no_values);
  }
  std::string errors;
  for (const auto& text : texts) errors += error_of([&] { imported(text); }) + '\n';
  cellscope::test::expect_golden("ImportMistakes", errors);
}

// ---- other names ----

constexpr const char* other_app =
    "columns { Timestamp: 'time' NetworkMode: 'tech' RSRP: 'power' LACHEX: 'hex' }\n"
    "modes { theirs: 'NR_SA' ours: '5G' } modes { theirs: 'none' ours: '-' }\n";

TEST(ImportProfile, GivesColumnsAndModesOtherNames) {
  import_profile profile = parse_profile(other_app, "app.textproto");
  for (const char* column : {"rsrp=rsrp_dbm", "LAC=tac", "RAWCELLID=a=b"}) add_column(profile, column);
  for (const char* mode : {"NR_SA=LTE", "=UNKNOWN", "a=b=GSM", "nr_sa=5g"}) add_mode(profile, mode);
  const scenario drive = imported(
      "time,tech,power,rsrp_dbm,hex,TAC,a=b\n0,nr_sa,1,-80,FF,17,9\n1,,,,,,\n2,none,,,,,\n"
      "3,A=B,,,,,\n4,umts,,,,,\n",
      {}, profile);
  EXPECT_EQ(drive.steps(0).cells().cells(0).nr().ShortDebugString(),
            "cell_identity { ci: 9 tac: 17 } signal_strength { rsrp: -80 }");
  EXPECT_EQ(drive.steps(1).cells().cells_size() + drive.steps(2).cells().cells_size(), 0);
  EXPECT_EQ(drive.steps(3).cells().cells(0).cell_type(), 1);
  EXPECT_EQ(drive.steps(4).cells().cells(0).cell_type(), 4);
}

TEST(ImportProfile, NamesThePlaceOfWhatIsMalformed) {
  const std::string modes = "5G, LTE, UMTS, HSPA, HSPA+, HSDPA, HSUPA, GSM, GPRS, EDGE, UNKNOWN or -";
  const std::pair<std::string, std::string> texts[] = {
      {"\ncolumns { Speed: 'x' }", "a:2:16: Message type \"import_columns\" has no field named \"Speed\"."},
      {"modes {\n theirs: 'x' ours: '6G' }\nmodes { ours: '5G' }",
       "a:2:14: expected " + modes +
           " in ours, found '6G'\na:3:1: expected theirs and ours in a mode, found one without"}};
  for (const auto& [text, error] : texts) {
    EXPECT_EQ(error_of([text = text] { parse_profile(text, "a"); }), error);
  }
  import_profile profile;
  const std::string columns =
      "Timestamp, NetworkMode, RSRP, RSRQ, SNR, CQI, RSSI, LACHEX, LAC, RAWCELLID, NRxRSRP or NRxRSRQ";
  for (const char* column : {"RSRP", "RSRP="}) {
    EXPECT_EQ(error_of([&] { add_column(profile, column); }),
              "expected NAME=COLUMN, as in RSRP=rsrp_dbm, found '"s + column + "'");
  }
  EXPECT_EQ(error_of([&] { add_column(profile, "Speed=x"); }),
            "expected " + columns + " before the '=', found 'Speed=x'");
  EXPECT_EQ(error_of([&] { add_mode(profile, "x"); }), "expected THEIRS=OURS, as in NR_SA=5G, found 'x'");
  EXPECT_EQ(error_of([&] { add_mode(profile, "x=6G"); }), "expected " + modes + " after the '=', found 'x=6G'");
}

TEST(ImportProfile, ThoseOfAppsAreFoundByName) {
  const fs::path folders[] = {"/nowhere", fs::path(GOLDEN_FOLDER) / "../../../profiles"};
  for (const auto& file : fs::directory_iterator(folders[1])) {
    const fs::path found = find_profile(file.path().stem(), folders);
    EXPECT_EQ(found, file.path());
    parse_profile(read_file(found), found);
  }
  EXPECT_EQ(find_profile("./x", folders), "./x");
  EXPECT_EQ(error_of([&] { find_profile("x", folders); }), "expected g-nettrack or a path with a slash, found 'x'");
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

/// An empty folder of its own for each test.
class WriteScenario : public testing::Test {
 protected:
  fs::path write(const std::string& content, const std::string& name) const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
    return folder_ / name;
  }

  auto count_files() const { return std::distance(fs::directory_iterator(folder_), {}); }

  const std::string step_ = "steps { at: 0.5 cells { cells { registered: false lte { } } sub: 0 } }\n";
  const cellscope::test::TemporaryFolder temporary_;
  const fs::path& folder_ = temporary_.path();
  const fs::path target_ = folder_ / "drive.textproto";
};

TEST_F(WriteScenario, SaysWhyAFileCannotBeReadOrWritten) {
  const std::string missing = folder_ / std::string(200, 'x') / std::string(200, 'y');
  EXPECT_EQ(error_of([&] { kelvane_hub::read_file(missing); }),
            missing + ": cannot read it: No such file or directory");
  EXPECT_EQ(error_of([&] { write_file(text_of({}), missing); }), missing + ": No such file or directory");
  EXPECT_EQ(error_of([&] { kelvane_hub::read_file(folder_); }), folder_.string() + ": expected a file, found a folder");
  EXPECT_EQ(error_of([&] { kelvane_hub::read_file("/proc/self/mem"); }),
            "/proc/self/mem: cannot read it: Input/output error");
  EXPECT_EQ(error_of([&] { write_file(text_of({}), folder_); }), folder_.string() + ": Is a directory");
}

// ---- the command ----

using ImportCommand = WriteScenario;

TEST_F(ImportCommand, ReadsStandardInputAndWritesStandardOutput) {
  const fs::path profile = write(other_app, "app.textproto");
  const std::string drive = write("time,tech,speed\n0,NR_SA,1\n", "drive.csv");
  const int input = dup(STDIN_FILENO);
  dup2(UniqueFd(open(drive.c_str(), O_RDONLY)).get(), STDIN_FILENO);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  import(
      {.input = "-", .output = "-", .profile = profile, .columns = {"RSRP=speed"}, .modes = {"NR_SA=GSM"}, .plmn = {}});
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "description: \"standard input: 1 row in 0 s\"\nsteps { at: 0 cells { cells { timestamp: 0 timestamp_type: 1 "
      "registered: true cell_type: 1 gsm { signal_strength { signal_strength: 1 } } } sub: 0 } }\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "standard input: 1 row in 0 s: 1 GSM\n"
            "standard input: no column RSRQ, SNR, CQI, RSSI, hex, RAWCELLID, NRxRSRP, NRxRSRQ\n");
  EXPECT_EQ(
      error_of([&] { import({.input = "-", .output = drive, .profile = {}, .columns = {}, .modes = {}, .plmn = {}}); }),
      drive + ": expected another file than the recording, found the same");
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST_F(WriteScenario, KeepsEverythingAStepALine) {
  const std::string text = R"(description: "\"a\"\n\303\251"
sensors { data_type: "wwan" suid { suid_low: 1 suid_high: 18446744073709551615 } }
sensors { }
steps { at: 0 cells { cells { registered: false lte { } } sub: 0 } }
steps { at: 0.1 raw { msg_id: 7 payload: "\000\377" } }
steps { }
repeat_after: 1e+300
)";
  write_file(text_of(scenario_of(text)), target_);
  EXPECT_EQ(read_file(target_), text);
}

TEST_F(WriteScenario, ReplacesAFileButKeepsItsModeAndItsLinks) {
  const fs::path link = folder_ / "link";
  write("old", "drive.textproto");
  fs::permissions(target_, fs::perms::owner_read);
  fs::create_symlink("drive.textproto", link);
  write_file(text_of(scenario_of(step_)), link);
  EXPECT_EQ(read_file(target_), step_);
  EXPECT_EQ(fs::status(target_).permissions(), fs::perms::owner_read);
  EXPECT_EQ(count_files(), 2);
  EXPECT_TRUE(fs::is_symlink(link));
}

TEST_F(WriteScenario, LeavesTheOldFileWhenTheNewOneDoesNotFit) {
  write("old", "drive.textproto");
  rlimit old_limit{};
  getrlimit(RLIMIT_FSIZE, &old_limit);
  for (const std::size_t size : {100U, 100'000U}) {  // with and without room in a stream's buffer
    const scenario imported = scenario_of("description: '" + std::string(size, 'x') + "'");
    const rlimit limit{10, old_limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string error = error_of([&] { write_file(text_of(imported), target_); });
    setrlimit(RLIMIT_FSIZE, &old_limit);
    EXPECT_EQ(error, target_.string() + ": File too large") << size;
    EXPECT_EQ(read_file(target_), "old") << size;
    EXPECT_EQ(count_files(), 1) << size;
  }
}

TEST_F(WriteScenario, WritesIntoWhatIsNotAFile) {
  const fs::path pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int ends[] = {open(pipe.c_str(), O_RDWR | O_NONBLOCK),
                      open(write("before\n", "drive.textproto").c_str(), O_WRONLY | O_APPEND)};
  write_file(text_of(scenario_of(step_)), pipe);
  write_file(text_of(scenario_of(step_)), "/dev/fd/" + std::to_string(ends[1]));
  std::string piped(step_.size(), ' ');
  EXPECT_EQ(read(ends[0], piped.data(), piped.size()), std::ssize(step_));
  EXPECT_EQ(piped, step_);
  EXPECT_EQ(read_file(target_), "before\n" + step_);
  for (const int end : ends) close(end);
}

}  // namespace
}  // namespace kelvane_hub
