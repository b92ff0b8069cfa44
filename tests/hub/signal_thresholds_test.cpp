#include "hub/signal_thresholds.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace kelvane_hub {
namespace {

using std::chrono::milliseconds;

template <class Message>
Message parse(const std::string& text) {
  Message message;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &message)) << text;
  return message;
}

constexpr auto config_of = parse<mox_wwan_signal_strength_config>;
constexpr auto cells_of = parse<mox_wwan_event_serving_neighboring_cell_info>;

/// `text` with `value` in the place of $.
std::string with(std::string text, int value) { return text.replace(text.find('$'), 1, std::to_string(value)); }

std::string entry(const std::string& ran, const std::string& type, const std::string& fields = "",
                  const std::string& enabled = "true") {
  return " threshold_infos { enabled: " + enabled + " ran: " + ran + " measurement_type: " + type + " " + fields + " }";
}

/// One registered cell; `part` is "lte", say, and `signal` the fields of its signal strength.
std::string cell(const std::string& part, const std::string& signal) {
  return " cells { registered: true " + part + " { signal_strength { " + signal + " } } }";
}

struct Checked {
  ThresholdVerdict verdict;
  std::string explanation = "left over";
};

Checked check(const mox_wwan_signal_strength_config& config, const std::set<std::uint32_t>& subs = {0, 1}) {
  Checked checked{};
  checked.verdict = check_thresholds(config, subs, checked.explanation);
  return checked;
}

TEST(CheckThresholds, SaysWhatIsWrongFirst) {
  using enum ThresholdVerdict;
  struct {
    std::string config;
    ThresholdVerdict verdict;
    const char* explanation;
  } const cases[] = {
      {"sub_id: 1", accepted, ""},
      {"threshold_infos {}", unknown_sub, "sub_id is absent, expected 0 or 1"},
      {"sub_id: -1", unknown_sub, "sub_id is -1, expected 0 or 1"},
      {"sub_id: 2", unknown_sub, "sub_id is 2, expected 0 or 1"},
      {"sub_id: 0" + entry("GERAN", "RSSI", "thresholds: [-115, -95, -85, -40]") +
           entry("CDMA2000", "RSSI", "thresholds: [-115, -95, -85, -40]") + entry("UTRAN", "RSCP"),
       accepted, ""},
      {"sub_id: 0 threshold_infos {}", unknown_measurement,
       "entry 1: ran is absent, expected GERAN, UTRAN, EUTRAN, CDMA2000 or NGRAN"},
      {"sub_id: 0 threshold_infos { ran: GERAN }", unknown_measurement,
       "entry 1: measurement_type is absent, expected RSSI for GERAN"},
      {"sub_id: 0" + entry("UTRAN", "RSRP"), unknown_measurement,
       "entry 1 (UTRAN RSRP): measurement_type is RSRP, expected RSSI or RSCP for UTRAN"},
      {"sub_id: 0" + entry("EUTRAN", "RSCP", "hysteresis_db: -1"), unknown_measurement,
       "entry 1 (EUTRAN RSCP): measurement_type is RSCP, expected RSSI, RSRP, RSRQ or RSSNR for EUTRAN"},
      {"sub_id: 0" + entry("CDMA2000", "RSCP"), unknown_measurement,
       "entry 1 (CDMA2000 RSCP): measurement_type is RSCP, expected RSSI for CDMA2000"},
      {"sub_id: 0" + entry("NGRAN", "RSRP"), unknown_measurement,
       "entry 1 (NGRAN RSRP): measurement_type is RSRP, expected SSRSRP, SSRSRQ or SSSINR for NGRAN"},
      {"sub_id: 0" + entry("UTRAN", "RSSI") + entry("UTRAN", "RSCP") + entry("UTRAN", "RSSI", "hysteresis_ms: -1"),
       duplicate_entry,
       "entry 3 (UTRAN RSSI): entry 1 is for the same, expected one entry for each technology and measurement"},
      {"sub_id: 0" + entry("NGRAN", "SSSINR", "hysteresis_ms: -1 thresholds: 50", "false"), negative_hysteresis,
       "entry 1 (NGRAN SSSINR): hysteresis_ms is -1, expected 0 or more"},
      {"sub_id: 0" + entry("NGRAN", "SSSINR", "hysteresis_db: -7"), negative_hysteresis,
       "entry 1 (NGRAN SSSINR): hysteresis_db is -7, expected 0 or more"},
      {"sub_id: 0" + entry("GERAN", "RSSI") + entry("EUTRAN", "RSRP", "thresholds: [-90, -95, -20]", "false"),
       threshold_out_of_range, "entry 2 (EUTRAN RSRP): threshold -20 is out of range -140 to -44"},
      {"sub_id: 0" + entry("EUTRAN", "RSRP", "thresholds: [-95, -90, -90]") + entry("EUTRAN", "RSCP"),
       thresholds_not_ascending, "entry 1 (EUTRAN RSRP): threshold -90 follows -90, expected ascending thresholds"},
  };
  for (const auto& [config, verdict, explanation] : cases) {
    const Checked checked = check(config_of(config));
    EXPECT_EQ(checked.verdict, verdict) << config;
    EXPECT_EQ(checked.explanation, explanation) << config;
  }
  EXPECT_EQ(check(config_of("sub_id: 0"), {}).explanation, "sub_id is 0, the scenario has no subscription");
  EXPECT_EQ(check(config_of("sub_id: -1"), {4294967295}).verdict, unknown_sub);
  auto unknown_ran = config_of("sub_id: 0 threshold_infos { measurement_type: RSSI }");
  unknown_ran.mutable_threshold_infos(0)->mutable_unknown_fields()->AddVarint(1, 5);
  EXPECT_EQ(check(unknown_ran).explanation, "entry 1: ran is 5, expected GERAN, UTRAN, EUTRAN, CDMA2000 or NGRAN");
}

/// `lines`: all reasons, a newline after each.
void expect_decision(const std::string& config, const std::string& was, const std::string& is, int since_ms,
                     const std::string& lines) {
  const auto decision = decide_report(config_of(config), cells_of(was), cells_of(is), milliseconds(since_ms));
  std::string reasons;
  for (const std::string& reason : decision.reasons) reasons += reason + "\n";
  EXPECT_EQ(reasons, lines) << config << was << is;
  EXPECT_EQ(decision.report, lines.find(": reported\n") != std::string::npos) << config << was << is;
}

TEST(Thresholds, EachPairingHasItsRangeAndItsField) {
  struct {
    const char *ran, *type;
    int lowest, highest;
    const char *technology, *part, *signal;
  } const cases[] = {
      {"GERAN", "RSSI", -120, -20, "GSM", "gsm", "signal_strength: $"},
      {"UTRAN", "RSSI", -120, -20, "WCDMA", "wcdma", "signal_strength: $"},
      {"UTRAN", "RSSI", -120, -20, "TDSCDMA", "tdscdma", "signal_strength: $"},
      {"UTRAN", "RSCP", -120, -24, "WCDMA", "wcdma", "rscp: $"},
      {"UTRAN", "RSCP", -120, -24, "TDSCDMA", "tdscdma", "rscp: $"},
      {"EUTRAN", "RSSI", -120, -20, "LTE", "lte", "signal_strength: $"},
      {"EUTRAN", "RSRP", -140, -44, "LTE", "lte", "rsrp: $"},
      {"EUTRAN", "RSRQ", -34, 3, "LTE", "lte", "rsrq: $"},
      {"EUTRAN", "RSSNR", -20, 40, "LTE", "lte", "rssnr: $"},
      {"CDMA2000", "RSSI", -120, -20, "CDMA", "cdma", "dbm: $"},
      {"NGRAN", "SSRSRP", -156, -31, "NR", "nr", "rsrp: $"},
      {"NGRAN", "SSRSRQ", -43, 20, "NR", "nr", "rsrq: $"},
      {"NGRAN", "SSSINR", -23, 40, "NR", "nr", "rssnr: $"},
  };
  for (const auto& [ran, type, lowest, highest, technology, part, signal] : cases) {
    const std::string config = std::string("sub_id: 0") + entry(ran, type, "thresholds: $");
    const auto accepts = [&config](int threshold) {
      return check(config_of(with(config, threshold))).verdict == ThresholdVerdict::accepted;
    };
    EXPECT_TRUE(accepts(lowest) && accepts(highest)) << config;
    EXPECT_FALSE(accepts(lowest - 1) || accepts(highest + 1)) << config;
    const std::string change = with(" $ -> ", lowest - 1) + with("$: crosses ", lowest) + with("$ by 0 dB", lowest);
    expect_decision(with(config, lowest), cell(part, with(signal, lowest - 1)), cell(part, with(signal, lowest)), 0,
                    std::string("cell 1 ") + technology + " " + type + change +
                        ", hysteresis 0 dB, 0 ms since the last report (hysteresis 0 ms): reported\n");
  }
}

TEST(DecideReport, ComparesAMeasurementWithTheLastReport) {
  struct {
    const char *hysteresis, *was, *is;
    int since_ms;
    const char* outcome;
  } const cases[] = {
      {"db: 1 hysteresis_ms: 1000", "-101", "-94", 5000,
       "crosses -95 by 1 dB, hysteresis 1 dB, 5000 ms since the last report (hysteresis 1000 ms): reported"},
      {"db: 1 hysteresis_ms: 1000", "-95", "-96", 1000,
       "crosses -95 by 1 dB, hysteresis 1 dB, 1000 ms since the last report (hysteresis 1000 ms): reported"},
      {"db: 1 hysteresis_ms: 1000", "-101", "-94", 999,
       "crosses -95 by 1 dB, hysteresis 1 dB, hysteresis 1000 ms, only 999 ms since the last report: not reported"},
      {"db: 0", "-101", "-95", 3,
       "crosses -95 by 0 dB, hysteresis 0 dB, 3 ms since the last report (hysteresis 0 ms): reported"},
      {"db: 2", "-101", "-94", 3, "crosses -95 by 1 dB, hysteresis 2 dB: not reported"},
      {"db: 2", "-95", "-86", 3, "crosses no threshold (-115 -95 -85), hysteresis 2 dB: not reported"},
      {"db: 11", "-101", "-84", 3,
       "crosses -95 by 11 dB, hysteresis 11 dB, 3 ms since the last report (hysteresis 0 ms): reported"},
      {"db: 31", "-80", "-116", 3,
       "crosses -85 by 31 dB, hysteresis 31 dB, 3 ms since the last report (hysteresis 0 ms): reported"},
      {"db: 2147483647", "-2147483648", "2147483647", 3,
       "crosses -115 by 2147483762 dB, hysteresis 2147483647 dB, 3 ms since the last report (hysteresis 0 ms): "
       "reported"},
      {"db: 2147483647", "2147483647", "-2147483648", 3,
       "crosses -85 by 2147483563 dB, hysteresis 2147483647 dB: not reported"},
  };
  for (const auto& [hysteresis, was, is, since_ms, outcome] : cases) {
    expect_decision(entry("EUTRAN", "RSRP", std::string("thresholds: [-115, -95, -85] hysteresis_") + hysteresis),
                    cell("lte", std::string("rsrp: ") + was), cell("lte", std::string("rsrp: ") + is), since_ms,
                    std::string("cell 1 LTE RSRP ") + was + " -> " + is + ": " + outcome + "\n");
  }
}

TEST(DecideReport, TellsReasonsFromOtherChanges) {
  const std::string rsrp = entry("EUTRAN", "RSRP", "thresholds: -95 hysteresis_db: 2 hysteresis_ms: 500");
  const std::string rsrq_off = entry("EUTRAN", "RSRQ", "thresholds: -10", "false");
  const std::string pair = " cells { lte { cell_identity { ci: $ } signal_strength { rsrp: -80 } } }";
  struct {
    std::string config, was, is;
    int since_ms;
    const char* lines;
  } const cases[] = {
      {rsrp, cell("lte", ""), cell("lte", "rsrp: -100"), 500,
       "cell 1 LTE RSRP absent -> -100: first value, 500 ms since the last report (hysteresis 500 ms): reported\n"},
      {rsrp, cell("lte", ""), cell("lte", "rsrp: -100"), 400,
       "cell 1 LTE RSRP absent -> -100: first value, hysteresis 500 ms, only 400 ms since the last report: not "
       "reported\n"},
      {rsrp, cell("lte", "rsrp: -90"), cell("lte", ""), 500,
       "cell 1 LTE RSRP -90 -> absent: nothing to compare: not reported\n"},
      {entry("EUTRAN", "RSRP"), cell("lte", ""), cell("lte", "rsrp: -100"), 0,
       "cell 1 LTE RSRP absent -> -100: the entry has no thresholds: not reported\n"},
      {rsrp + rsrq_off, cell("lte", "rsrq: -12 rssnr: 1"), cell("lte", "rsrq: -8 rssnr: 9"), 500,
       "cell 1 LTE RSRQ -12 -> -8: no enabled entry: not reported\n"
       "cell 1 LTE RSSNR 1 -> 9: no enabled entry: not reported\n"},
      {rsrq_off, cell("lte", "cqi: 3"), cell("lte", "cqi: 4"), 0,
       "cell 1 LTE has no enabled entry for what changed: not reported\n"},
      {rsrp, cell("wcdma", "ecno: 3"), cell("wcdma", ""), 0, "cell 1 WCDMA without an entry changed: reported\n"},
      {"", cell("lte", "cqi: 3"), cell("lte", "cqi: 4"), 0, "cell 1 LTE without an entry changed: reported\n"},
      {rsrp, cell("lte", "rsrp: -96") + cell("lte", "rsrp: -94"), cell("lte", "rsrp: -93") + cell("lte", "rsrp: -96"),
       600,
       "cell 1 LTE RSRP -96 -> -93: crosses -95 by 2 dB, hysteresis 2 dB, 600 ms since the last report (hysteresis 500 "
       "ms): reported\ncell 2 LTE RSRP -94 -> -96: crosses -95 by 1 dB, hysteresis 2 dB: not reported\n"},
      {rsrp, "", cell("lte", "rsrp: -95"), 0, "cells 0 -> 1: reported\n"},
      {"", "cells { timestamp: 1 lte {} }", "cells { timestamp: 2 lte {} }", 0, ""},
      {rsrp, "cells { cell_type: 9 timestamp_type: 1 registered: true }", "cells { cell_type: 3 registered: false }", 0,
       "cell 1: cell_type 9 -> 3: reported\ncell 1: registered true -> false: reported\n"
       "cell 1: timestamp_type 1 -> absent: reported\n"},
      {rsrp, "cells { lte {} }", "cells { nr { cell_identity {} } }", 0, "cell 1: technology LTE -> NR: reported\n"},
      {rsrp, with(pair, 8) + cell("nr", "cqi: 1"), with(pair, 9) + cell("nr", "cqi: 2"), 0,
       "cell 1: identity changed: reported\ncell 2 NR without an entry changed: reported\n"},
  };
  for (const auto& [config, was, is, since_ms, lines] : cases) expect_decision(config, was, is, since_ms, lines);
  for (const std::string part : {"gsm", "cdma", "lte", "wcdma", "tdscdma", "nr"}) {
    expect_decision(rsrp, "cells { " + part + " {} }", "cells { " + part + " { cell_identity {} } }", 0,
                    "cell 1: identity changed: reported\n");
  }
}

TEST(DecideReport, ReportsWhatAnUnknownTechnologyChanges) {
  auto was = cells_of("cells { cell_type: 7 }");
  auto is = was;
  was.mutable_cells(0)->mutable_unknown_fields()->AddVarint(11, 1);
  is.mutable_cells(0)->mutable_unknown_fields()->AddVarint(11, 2);
  EXPECT_EQ(decide_report({}, was, is, milliseconds(0)).reasons.at(0),
            "cell 1 of no known technology changed: reported");
}

TEST(DecideReport, ReportsASlowDriftWhenItIsDue) {
  const auto config =
      config_of(entry("EUTRAN", "RSRP", "thresholds: [-100, -90] hysteresis_db: 2 hysteresis_ms: 3000"));
  // Back below -100 only from 2 dB under it (10); a crossing within 3 s of a report waits (11, 12).
  const std::pair<int, int> drift[] = {{1, -102}, {2, -101}, {3, -100},  {4, -99},  {5, -98},  {6, -99},  {7, -101},
                                       {8, -100}, {9, -101}, {10, -102}, {11, -98}, {12, -97}, {13, -97}, {14, -91},
                                       {17, -90}, {18, -89}, {19, -88},  {30, -91}, {31, -92}};
  auto reported = cells_of(cell("lte", "rsrp: -103"));
  milliseconds reported_at(0);
  std::string reports;
  for (const auto& [second, rsrp] : drift) {
    const auto current = cells_of(cell("lte", with("rsrp: $", rsrp)));
    const milliseconds now(second * 1000);
    if (!decide_report(config, reported, current, now - reported_at).report) continue;
    reports += with("$ s ", second) + with("$ dBm; ", rsrp);
    reported = current;
    reported_at = now;
  }
  EXPECT_EQ(reports, "5 s -98 dBm; 10 s -102 dBm; 13 s -97 dBm; 19 s -88 dBm; 31 s -92 dBm; ");
}

}  // namespace
}  // namespace kelvane_hub
