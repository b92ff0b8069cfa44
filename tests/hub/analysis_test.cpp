// What files are, what was measured in them, and what they do not have in common.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <tuple>

#include "hub/analysis/difference.h"
#include "hub/analysis/digest.h"
#include "hub/analysis/digest_table.h"
#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/report/file_kind.h"
#include "hub/report/run_follower.h"
#include "hub/report/run_reader.h"
#include "hub/report/run_writer.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {
namespace {

std::string step(double at, const std::string& what) { return concat("steps { at: ", at, " ", what, " }\n"); }

/// A step with a serving LTE cell of that identity, 0 for an unknown one.
std::string lte(double at, int ci, int rsrp = -90) {
  const std::string identity = ci == 0 ? "" : concat("cell_identity { ci: ", ci, " } ");
  return step(at, concat("cells { cells { registered: true cell_type: 3 lte { ", identity,
                         "signal_strength { rsrp: ", rsrp, " } } } }"));
}

std::string gsm(double at) { return step(at, "cells { cells { registered: true cell_type: 1 gsm { } } }"); }
std::string nothing(double at) { return step(at, "cells { }"); }

EvaluatedFile scenario_file(const std::string& text) {
  return {"x.textproto", FileKind::scenario, parse_scenario(text, "x")};
}

EvaluatedFile run_file(const std::string& text) { return {"x.txt", FileKind::run, read_run(text, "x.txt")}; }

std::string cell_report(int seconds, const char* registered, int rsrp) {
  return concat(
      "Payload size: 0\n\nReceived serving neighboring cell info on Sub :0\n"
      "serving neighboring cell info. Number of cells: 1\n\n=== Cell 1 === {Log Time: ",
      1700000000 + seconds, ",Cell Type: 6,Timestamp: ", seconds,
      "000000000,Timestamp Type: 1,Registered: ", registered,
      "}\n\n== NR Cell Identity == {MCC: 1,MNC: 2,CI: 5,PCI: 3,TAC: 4,EARFCN: 5}\n\n"
      "== NR Signal Strength == {RSRP: ",
      rsrp, ",RSRQ: 0,RSSNR: 6,CQI: 7}\n");
}

constexpr const char* no_cells =
    "Payload size: 0\n\nReceived serving neighboring cell info on Sub :0\n"
    "serving neighboring cell info. Number of cells: 0\n";

TEST(AnalysisTest, ContentTellsTheKind) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "run"},
      {"Listening For streaming sensor\n", "run"},
      {"Enter -1 to Exit\nPayload size: 4\n", "run"},
      {"# Log Time: 5\n\n steps { at: 0 }", "scenario"},
      {"# nothing\n", "scenario"},
      {"\x4d\x3c\xb2\xa1", "capture"},
      {"description: 'a, b'", "scenario"},
      {"\n\nTimestamp;NetworkMode\n1;LTE", "drive"},
      {"Key: operation, Value: 1\nRequest Id7\nLog Time: 5, Received voice call", "run"},
      {"\nnonsense { }\n",
       "x:2: expected a run of cellscope, a scenario, a capture or a drive (CSV), found 'nonsense { }'"},
  };
  for (const auto& [text, kind] : cases) {
    try {
      EXPECT_EQ(name_of(kind_of_file(text, "x")), kind);
    } catch (const InputError& error) {
      EXPECT_STREQ(error.what(), kind);
    }
  }
}

TEST(AnalysisTest, EachPrintedValueOfASignalIsAQuantity) {
  std::vector<std::string> printed, known;
  for (const Technology& technology : technologies()) {
    for (const PrintedPart& part : technology.parts) {
      if (part.name == identity_part) continue;
      for (const auto& field : part.fields) printed.push_back(concat(technology.name, part.name, field.name));
    }
  }
  for (const Quantity& of : all_quantities()) {
    known.push_back(concat(find_technology(of.cell_type)->name, of.part, of.field));
  }
  EXPECT_EQ(known, printed);
}

TEST(AnalysisTest, TableOfAScenario) {
  const auto file = scenario_file(
      nothing(0) + lte(10, 1, -80) + step(10, "rrc_states { lte_rrc_state: 2 }") + lte(20, 2, -90) + lte(25, 1, -100) +
      step(30, "voice_calls { calls { call_id: 7 call_state: 5 } }") + gsm(40) + step(42, "rrc_states { }") +
      step(45, "voice_calls { calls { call_id: 7 call_state: 1 } calls { call_id: 8 call_state: 5 } }") +
      step(46, "voice_calls { calls { call_id: 8 call_state: 5 } }") + nothing(50) +
      step(60, "cells { sub: 1 cells { registered: true cell_type: 9 } }") + "repeat_after: 100");
  EXPECT_EQ(table_of(file, digest_of(file)), R"(x.textproto
  scenario, 12 reports in 100.0 s by scenario time
  longest time without a report: 40.0 s, from 60.0 s

subscription 0

  technology         time   share
  GSM              10.0 s  10.0 %
  LTE              30.0 s  30.0 %
  without service  60.0 s  60.0 %

  serving cell            visits    time   share
  LTE CI 1                     2  25.0 s  25.0 %
  GSM identity not known       1  10.0 s  10.0 %
  LTE CI 2                     1   5.0 s   5.0 %

  changes: 2 of the cell within its technology, 1 of the technology;
  back in the cell before within 5 s: 1

  without service    from     for
  1                 0.0 s  10.0 s
  2                50.0 s  50.0 s  to the end

  measured  unit  count   min   5 %  50 %  95 %  max
  LTE RSRP   dBm      3  -100  -100   -90   -80  -80

  call    from     for  states
  7     30.0 s  16.0 s     5 1
  8     45.0 s  55.0 s   5 ...

  RRC state          time    share
  lte_rrc_state 2  32.0 s  100.0 %

subscription 1

  technology            time   share
  without service     60.0 s  60.0 %
  unknown technology  40.0 s  40.0 %

  changes: 0 of the cell within its technology, 0 of the technology;
  back in the cell before within 5 s: 0

  without service   from     for
  1                0.0 s  60.0 s
)");
}

TEST(AnalysisTest, ChangesAndPingPong) {
  const struct {
    std::string steps;
    std::size_t cells, technologies, ping_pongs;
  } cases[] = {
      {lte(0, 1) + lte(9, 2) + lte(14, 1), 2, 0, 1},
      {lte(0, 1) + lte(9, 2) + lte(14.1, 1), 2, 0, 0},
      {lte(0, 1) + lte(9, 2) + lte(10, 2) + lte(11, 1) + lte(12, 2), 3, 0, 2},
      {lte(0, 1) + lte(1, 2) + lte(2, 3), 2, 0, 0},
      {lte(0, 1) + nothing(1) + lte(2, 1), 0, 0, 0},  // an outage is no cell
      {lte(0, 1) + nothing(1) + lte(2, 2), 0, 0, 0},  // nor a change
      {lte(0, 1) + lte(1, 0) + lte(2, 1), 0, 0, 0},   // who knows
      {lte(0, 1) + lte(1, 0) + lte(2, 2), 1, 0, 0},   // but it is another one now
      {lte(0, 1) + gsm(1) + lte(2, 1), 0, 2, 0},      // no identity to go by
      {lte(0, 1) + step(1, "cells { cells { registered: true cell_type: 1 gsm { cell_identity { cid: 1 } } } }") +
           lte(2, 1),
       0, 2, 1},
  };
  for (const auto& [steps, cells, technologies, ping_pongs] : cases) {
    const auto digest = digest_of(scenario_file(steps)).subscriptions.at(0);
    EXPECT_EQ(digest.cell_changes, cells) << steps;
    EXPECT_EQ(digest.technology_changes, technologies) << steps;
    EXPECT_EQ(digest.ping_pongs, ping_pongs) << steps;
  }
}

TEST(AnalysisTest, PercentilesAreOfTheNearestRank) {
  const std::tuple<int, int, int, int> cases[] = {{1, 1, 1, 1}, {2, 1, 1, 2}, {20, 1, 10, 19}, {21, 2, 11, 20}};
  for (const auto& [count, low, median, high] : cases) {
    std::string steps;
    for (int i = count; i > 0; --i) steps += lte(0, 1, -i);
    const Statistic of = digest_of(scenario_file(steps)).subscriptions.at(0).statistics.at(0);
    // Of -count, …, -1 the rank from below.
    const auto rank = [begin = count + 1](double value) { return static_cast<int>(value) + begin; };
    EXPECT_EQ(std::tuple(of.count, rank(of.lowest), rank(of.percentile_5), rank(of.median), rank(of.percentile_95),
                         rank(of.highest)),
              std::tuple(std::size_t(count), 1, low, median, high, count));
  }
}

TEST(AnalysisTest, RunSaysWhatItsTimesAre) {
  const auto file =
      run_file("Log Time: 1700000000, Received voice call info on Sub:3, voice call info-Number of calls: 0: []\n" +
               cell_report(4, "1", -90) + no_cells + cell_report(30, "1", -200));
  // When the cells were lost is known only from what stands around that: half way is the best guess.
  EXPECT_EQ(table_of(file, digest_of(file)), R"(x.txt
  run, 4 reports in 30.0 s by timestamps
  without a time of their own, but with one between those around them: 1
  longest time without a report: 13.0 s, from 4.0 s

subscription 0

  technology                    time   share
  NR                          13.0 s  43.3 %
  without service             13.0 s  43.3 %
  before any report of cells   4.0 s  13.3 %

  serving cell                      visits    time   share
  NR 1-2 CI 5 PCI 3 TAC 4 EARFCN 5       2  13.0 s  43.3 %

  changes: 0 of the cell within its technology, 0 of the technology;
  back in the cell before within 5 s: 0

  without service    from     for
  1                17.0 s  13.0 s  perhaps from 4.0 s

  measured  unit  count  min  5 %  50 %  95 %  max
  NR RSRP    dBm      1  -90  -90   -90   -90  -90
  NR RSSNR    dB      2    6    6     6     6    6
  NR CQI              2    7    7     7     7    7

subscription 3

  technology                    time    share
  before any report of cells  30.0 s  100.0 %
)");
}

TEST(AnalysisTest, DifferencesHaveTheirPlaces) {
  const std::string call =
      "Log Time: 1700000009, Received voice call info on Sub:0, voice call info-Number of calls: 0: []\n";
  const std::string call_later =
      "Log Time: 1700000019, Received voice call info on Sub:0, voice call info-Number of calls: 0: []\n";
  const struct {
    EvaluatedFile before, after;
    std::optional<double> tolerance;
    std::string text;
  } cases[] = {
      {scenario_file(lte(0, 1) + nothing(5)), scenario_file(lte(0, 1) + nothing(500)), {}, ""},
      {scenario_file(lte(0, 1) + nothing(5)), scenario_file(lte(0, 1) + nothing(6)), 1, ""},
      {scenario_file(lte(0, 1) + nothing(5)), scenario_file(lte(0, 1) + nothing(6.5)), 1,
       "-step 2, 5 s: serving_neighboring_cell_info { }\n+step 2, 6.5 s: serving_neighboring_cell_info { }\n"},
      {scenario_file(lte(0, 1) + lte(1, 2) + nothing(1.25)),
       scenario_file(nothing(2) + lte(3, 1) + lte(3, 2) + gsm(4)),
       {},
       "+step 1, 0 s: serving_neighboring_cell_info { }\n-step 3, 1.25 s: serving_neighboring_cell_info { }\n"
       "+step 4, 2 s: serving_neighboring_cell_info { cells { timestamp_type: 1 registered: true cell_type: 1 gsm { } "
       "} }\n"},
      {run_file(cell_report(1, "1", -90) + call), run_file(cell_report(11, "1", -90) + call_later), {}, ""},
      // Printed, a 0 may be absent; as it was sent, it is not.
      {run_file(call), scenario_file(step(0, "voice_calls { }") + step(1, "error { error: 4 }")), {}, ""},
      // Cells that a scenario tells again are not reported again.
      {scenario_file(lte(0, 1) + lte(1, 1) + lte(2, 2)), scenario_file(lte(0, 1) + lte(2, 2)), 0, ""},
      {scenario_file(step(0, "voice_calls { }")),
       scenario_file(step(0, "voice_calls { sub: 0 }")),
       {},
       "-step 1, 0 s: voice_calls { }\n+step 1, 0 s: voice_calls { sub: 0 }\n"},
  };
  for (const auto& [before, after, tolerance, text] : cases) {
    const std::string heading = concat("--- ", before.name, "\n+++ ", after.name, "\n");
    EXPECT_EQ(difference_of(before, after, tolerance), text.empty() ? "" : heading + text);
  }
}

TEST(AnalysisTest, GrowingRunIsReadAsAWholeOne) {
  const std::string no_cells_of_another = std::string(no_cells).substr(17);
  const std::string text = "stray\n" + cell_report(1, "1", -90) +
                           "Got the  signal for 2\nLog Time: 9, Received rrc state info on Sub:0, \n"
                           "{ LTE RRC STATE: 1 }\n\n" +
                           "Payload size: 0\n\nReceived serving neighboring cell info with status :0\n"
                           "serving neighboring cell info. Number of cells: 6\nstray\n" +
                           cell_report(2, "0", -90).substr(16) + no_cells_of_another + no_cells_of_another +
                           no_cells_of_another + no_cells_of_another + no_cells_of_another + no_cells;
  for (const std::size_t piece : {1U, 7U, 100U}) {
    RunFollower follower("run.txt");
    kelvane_hub::Run all;
    for (std::size_t at = 0; at < text.size(); at += piece) {
      kelvane_hub::Run run = follower.take(std::string_view(text).substr(at, piece));
      std::ranges::move(run.events, std::back_inserter(all.events));
      // A report is not waited for once it is whole.
      const auto so_far = std::string_view(text).substr(0, at + piece);
      const auto lines = so_far.substr(0, so_far.rfind('\n') + 1);
      EXPECT_EQ(all.events.size(), read_piece(lines, "run.txt", 1).events.size()) << lines;
    }
    const kelvane_hub::Run whole = read_run(text, "run.txt");
    EXPECT_EQ(to_json(all, times_of(all)), to_json(whole, times_of(whole)));
    EXPECT_EQ(whole.events.size(), 4U);
    EXPECT_EQ(follower.unfinished(), 0U);
    (void)follower.take("Payload size: 3\n");
    EXPECT_EQ(follower.unfinished(), 1U + static_cast<std::size_t>(std::ranges::count(text, '\n')));
  }
}

TEST(AnalysisTest, ReportWithoutEndIsRefused) {
  RunFollower follower("run.txt");
  (void)follower.take("\nPayload size: 3\n");
  std::string refused = "nothing";
  try {
    (void)follower.take(std::string(most_unfinished, ' '));
  } catch (const InputError& error) {
    refused = error.what();
  }
  EXPECT_EQ(refused, "run.txt:2: expected the end of a report within 67108864 bytes, found none");
}

}  // namespace
}  // namespace kelvane_hub
