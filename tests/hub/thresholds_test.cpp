#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "hub/thresholds/change_decision.h"
#include "hub/thresholds/threshold_check.h"
#include "tests/golden.h"

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
  const std::string configs[] = {
      "sub_id: 1",
      "threshold_infos {}",
      "sub_id: -1",
      "sub_id: 2",
      "sub_id: 0" + entry("GERAN", "RSSI", "thresholds: [-115, -95, -85, -40]") +
          entry("CDMA2000", "RSSI", "thresholds: [-115, -95, -85, -40]") + entry("UTRAN", "RSCP"),
      "sub_id: 0 threshold_infos {}",
      "sub_id: 0 threshold_infos { ran: GERAN }",
      "sub_id: 0" + entry("UTRAN", "RSRP"),
      "sub_id: 0" + entry("EUTRAN", "RSCP", "hysteresis_db: -1"),
      "sub_id: 0" + entry("CDMA2000", "RSCP"),
      "sub_id: 0" + entry("NGRAN", "RSRP"),
      "sub_id: 0" + entry("UTRAN", "RSSI") + entry("UTRAN", "RSCP") + entry("UTRAN", "RSSI", "hysteresis_ms: -1"),
      "sub_id: 0" + entry("NGRAN", "SSSINR", "hysteresis_ms: -1 thresholds: 50", "false"),
      "sub_id: 0" + entry("NGRAN", "SSSINR", "hysteresis_db: -7"),
      "sub_id: 0" + entry("GERAN", "RSSI") + entry("EUTRAN", "RSRP", "thresholds: [-90, -95, -20]", "false"),
      "sub_id: 0" + entry("EUTRAN", "RSRP", "thresholds: [-95, -90, -90]") + entry("EUTRAN", "RSCP"),
      "sub_id: 0" + entry("EUTRAN", "RSRP", "thresholds: [-90, -95]"),
  };
  std::string said;
  for (const auto& config : configs) {
    const auto [verdict, explanation] = check(config_of(config));
    said += config + "\n  " + std::to_string(static_cast<int>(verdict)) + " " + explanation + "\n";
  }
  cellscope::test::expect_golden("ThresholdVerdicts", said);
  EXPECT_EQ(check(config_of("sub_id: 0"), {}).explanation, "sub_id is 0, the scenario has no subscription");
  EXPECT_EQ(check(config_of("sub_id: -1"), {4294967295}).verdict, unknown_sub);
}

TEST(CheckThresholds, ShowsAnUnknownEnumerator) {
  const struct {
    const char* known;
    int number;
    const char* explanation;
  } cases[] = {
      {"measurement_type: RSSI", 1, "ran is 5, expected GERAN, UTRAN, EUTRAN, CDMA2000 or NGRAN"},
      {"ran: UTRAN", 2, "measurement_type is 5, expected RSSI or RSCP for UTRAN"},
  };
  for (const auto& [known, number, explanation] : cases) {
    auto config = config_of(std::string("sub_id: 0 threshold_infos { ") + known + " }");
    auto& unknown = *config.mutable_threshold_infos(0)->mutable_unknown_fields();
    unknown.AddVarint(3 - number, 6);
    unknown.AddVarint(9, 7);
    unknown.AddFixed32(number, 8);
    unknown.AddVarint(number, 5);
    EXPECT_EQ(check(config).explanation, std::string("entry 1: ") + explanation);
  }
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
    const auto decision = decide_change(config_of(with(config, lowest)), cells_of(cell(part, with(signal, lowest - 1))),
                                        cells_of(cell(part, with(signal, lowest))), milliseconds(0));
    EXPECT_TRUE(decision.passes) << config;
    EXPECT_EQ(decision.reasons.at(0).why, std::string("cell 1 ") + technology + " " + type + change +
                                              ", hysteresis 0 dB, 0 ms since the last report (hysteresis 0 ms)");
  }
}

/// What decides, each change with its reasons.
class Decisions {
 public:
  void add(const std::string& config, const std::string& was, const std::string& is, int since_ms) {
    const auto decision = decide_change(config_of(config), cells_of(was), cells_of(is), milliseconds(since_ms));
    text_ += "\nentries:" + config + "\nwas:" + was + "\nis: " + is + "\n" + std::to_string(since_ms) +
             " ms: " + (decision.passes ? "reported\n" : "not reported\n");
    for (const Reason& reason : decision.reasons) text_ += (reason.passes ? "  + " : "  - ") + reason.why + "\n";
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

TEST(DecideChange, ComparesAMeasurementWithWhatWasTold) {
  const struct {
    const char *hysteresis, *was, *is;
    int since_ms;
  } cases[] = {
      {"db: 1 hysteresis_ms: 1000", "-101", "-94", 5000},
      {"db: 1 hysteresis_ms: 1000", "-95", "-96", 1000},
      {"db: 1 hysteresis_ms: 1000", "-101", "-94", 999},
      {"db: 0", "-101", "-95", 3},
      {"db: 2", "-101", "-94", 3},
      {"db: 2", "-95", "-86", 3},
      {"db: 11", "-101", "-84", 3},
      {"db: 31", "-80", "-116", 3},
      {"db: 2147483647", "-2147483648", "2147483647", 3},
      {"db: 2147483647", "2147483647", "-2147483648", 3},
  };
  Decisions decisions;
  for (const auto& [hysteresis, was, is, since_ms] : cases) {
    decisions.add(entry("EUTRAN", "RSRP", std::string("thresholds: [-115, -95, -85] hysteresis_") + hysteresis),
                  cell("lte", std::string("rsrp: ") + was), cell("lte", std::string("rsrp: ") + is), since_ms);
  }
  cellscope::test::expect_golden("ThresholdCrossings", decisions.text());
}

TEST(DecideChange, TellsReasonsFromOtherChanges) {
  const std::string rsrp = entry("EUTRAN", "RSRP", "thresholds: -95 hysteresis_db: 2 hysteresis_ms: 500");
  const std::string rsrq_off = entry("EUTRAN", "RSRQ", "thresholds: -10", "false");
  const std::string pair = " cells { lte { cell_identity { ci: $ } signal_strength { rsrp: -80 } } }";
  Decisions decisions;
  decisions.add(rsrp, cell("lte", ""), cell("lte", "rsrp: -100"), 500);
  decisions.add(rsrp, cell("lte", ""), cell("lte", "rsrp: -100"), 400);
  decisions.add(rsrp, cell("lte", "rsrp: -90"), cell("lte", ""), 500);
  decisions.add(entry("EUTRAN", "RSRP"), cell("lte", ""), cell("lte", "rsrp: -100"), 0);
  decisions.add(rsrp + rsrq_off, cell("lte", "rsrq: -12 rssnr: 1"), cell("lte", "rsrq: -8 rssnr: 9"), 500);
  decisions.add(rsrq_off, cell("lte", "cqi: 3"), cell("lte", "cqi: 4"), 0);
  decisions.add(rsrp, cell("wcdma", "ecno: 3"), cell("wcdma", ""), 0);
  decisions.add("", cell("lte", "cqi: 3"), cell("lte", "cqi: 4"), 0);
  decisions.add(rsrp, cell("lte", "rsrp: -96") + cell("lte", "rsrp: -94"),
                cell("lte", "rsrp: -93") + cell("lte", "rsrp: -96"), 600);
  decisions.add(rsrp, "", cell("lte", "rsrp: -95"), 0);
  decisions.add("", " cells { timestamp: 1 lte {} }", " cells { timestamp: 2 lte {} }", 0);
  decisions.add(rsrp, " cells { cell_type: 9 timestamp_type: 1 registered: true }",
                " cells { cell_type: 3 registered: false }", 0);
  decisions.add(rsrp, " cells { lte {} }", " cells { nr { cell_identity {} } }", 0);
  decisions.add(rsrp, with(pair, 8) + cell("nr", "cqi: 1"), with(pair, 9) + cell("nr", "cqi: 2"), 0);
  for (const std::string part : {"gsm", "cdma", "lte", "wcdma", "tdscdma", "nr"}) {
    decisions.add(rsrp, " cells { " + part + " {} }", " cells { " + part + " { cell_identity {} } }", 0);
  }
  cellscope::test::expect_golden("ThresholdReasons", decisions.text());
}

TEST(DecideChange, PassesWhatAnUnknownTechnologyChanges) {
  auto was = cells_of("cells { cell_type: 7 }");
  auto is = was;
  was.mutable_cells(0)->mutable_unknown_fields()->AddVarint(11, 1);
  is.mutable_cells(0)->mutable_unknown_fields()->AddVarint(11, 2);
  EXPECT_EQ(decide_change({}, was, is, milliseconds(0)).reasons.at(0).why, "cell 1 of no known technology changed");
}

TEST(DecideChange, PassesASlowDriftWhenItIsDue) {
  const auto config =
      config_of(entry("EUTRAN", "RSRP", "thresholds: [-100, -90] hysteresis_db: 2 hysteresis_ms: 3000"));
  // Back below -100 only from 2 dB under it (10); a crossing within 3 s of another waits (11, 12).
  const std::pair<int, int> drift[] = {{1, -102}, {2, -101}, {3, -100},  {4, -99},  {5, -98},  {6, -99},  {7, -101},
                                       {8, -100}, {9, -101}, {10, -102}, {11, -98}, {12, -97}, {13, -97}, {14, -91},
                                       {17, -90}, {18, -89}, {19, -88},  {30, -91}, {31, -92}};
  auto told = cells_of(cell("lte", "rsrp: -103"));
  milliseconds told_at(0);
  std::string passed;
  for (const auto& [second, rsrp] : drift) {
    const auto current = cells_of(cell("lte", with("rsrp: $", rsrp)));
    const milliseconds now(second * 1000);
    if (!decide_change(config, told, current, now - told_at).passes) continue;
    passed += with("$ s ", second) + with("$ dBm; ", rsrp);
    told = current;
    told_at = now;
  }
  EXPECT_EQ(passed, "5 s -98 dBm; 10 s -102 dBm; 13 s -97 dBm; 19 s -88 dBm; 31 s -92 dBm; ");
}

}  // namespace
}  // namespace kelvane_hub
