// What pictures show, and what gnuplot is told and made of.

#include "hub/plot/plot.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"
#include "hub/plot/gnuplot.h"
#include "hub/plot/layout.h"
#include "hub/plot/script.h"
#include "hub/plot/thinning.h"
#include "hub/plot/time_axis.h"
#include "hub/plot/title.h"
#include "hub/plot/window.h"
#include "hub/report/run_reader.h"
#include "hub/scenario/scenario_file.h"
#include "tests/temporary_folder.h"

namespace kelvane_hub {
namespace {

constexpr const char* strip_names[] = {"out",       "perhaps out", "technology", "RRC LTE", "RRC NR",
                                       "RRC WCDMA", "calls",       "rail LTE",   "rail NR"};

std::string shown(const std::vector<Span>& spans) {
  std::ostringstream out;
  for (const Span& span : spans) out << " " << span.begin << ".." << span.end << "=" << span.state;
  return out.str();
}

std::string shown(const Curve& curve) {
  std::ostringstream out;
  out << find_technology(curve.quantity->cell_type)->name << " " << curve.quantity->name << ":";
  for (const Stretch& stretch : curve.stretches) {
    if (&stretch != &curve.stretches.front()) out << " |";
    for (const Point& point : stretch) out << " " << point.time << "=" << point.value;
  }
  return out.str();
}

/// A line for each curve, strip and kind of change that there is.
std::string shown(const Track& track) {
  std::ostringstream out;
  out << track.clock << ", " << track.begin << " to " << track.end << "\n";
  for (const auto& subscription : track.subscriptions) {
    out << "sub " << subscription.sub << (subscription.has_cell_reports ? "" : ", no cells") << "\n";
    for (const Curve& curve : subscription.curves) out << shown(curve) << "\n";
    for (const auto& [strip, spans] : subscription.strips) {
      out << strip_names[static_cast<int>(strip)] << ":" << shown(spans) << "\n";
    }
    for (const double time : subscription.cell_changes) out << "other cell at " << time << "\n";
    for (const double time : subscription.technology_changes) out << "other technology at " << time << "\n";
  }
  return out.str();
}

std::string step(double at, const std::string& what) { return concat("steps { at: ", at, " ", what, " }\n"); }

/// A step with a serving LTE cell.
std::string lte(double at, int rsrp, const std::string& more = "") {
  return step(at, concat("cells { cells { registered: true cell_type: 3 lte { signal_strength { rsrp: ", rsrp, " } ",
                         more, " } } }"));
}

Track track_in(const std::string& scenario_text) { return track_of(parse_scenario(scenario_text, "x")); }

template <class Function>
std::string error_of(const Function& function) {
  try {
    function();
    return "no error";
  } catch (const InputError& error) {
    return error.what();
  }
}

TEST(PlotTest, EachTechnologyHasItsValues) {
  const char* const cells[] = {
      "cell_type: 1 gsm { signal_strength { signal_strength: -71 } }",
      "cell_type: 2 cdma { signal_strength { dbm: -72 ecio: -90 } }",
      "cell_type: 3 lte { signal_strength { signal_strength: -1 rsrp: -73 rsrq: -10 rssnr: 0 } }",
      "cell_type: 4 wcdma { signal_strength { signal_strength: -1 rscp: -74 ecno: -7 } }",
      "cell_type: 5 tdscdma { signal_strength { signal_strength: -1 rscp: -75 } }",
      "cell_type: 6 nr { signal_strength { rsrp: -76 rsrq: -44 rssnr: 18 } }"};
  std::string text;
  for (const std::string cell : cells) text += step(4, "cells { cells { registered: true " + cell + " } }");
  std::string drawn;
  const Track track = track_in(text + "repeat_after: 5");
  for (const Curve& curve : track.subscriptions.at(0).curves) drawn += shown(curve) + "\n";
  EXPECT_EQ(drawn,
            "GSM RSSI: 4=-71 4=-71\nCDMA RSSI: 4=-72 4=-72\nLTE RSRP: 4=-73 4=-73\nWCDMA RSCP: 4=-74 4=-74\n"
            "TDSCDMA RSCP: 4=-75 4=-75\nNR RSRP: 4=-76 5=-76\nCDMA Ec/Io: 4=-9 4=-9\nLTE RSRQ: 4=-10 4=-10\n"
            "WCDMA Ec/No: 4=-7 4=-7\nLTE RSSNR: 4=0 4=0\nNR RSSNR: 4=18 5=18\n");
}

TEST(PlotTest, ChangesOutagesAndStatesOfAScenario) {
  const std::string text =
      lte(0, -90, "cell_identity { ci: 1 }") + lte(10, -95, "cell_identity { ci: 1 }") +
      lte(20, -85, "cell_identity { ci: 2 }") + step(20, "rrc_states { lte_rrc_state: 2 }") +
      step(30, "cells { cells { registered: true cell_type: 1 gsm { } } }") +
      step(40, "cells { cells { cell_type: 1 gsm { signal_strength { signal_strength: -80 } } } }") +
      step(50, "cells { }") + step(60, "rrc_states { lte_rrc_state: 1 wcdma_rrc_state: 3 }") + lte(70, -200) +
      step(80, "voice_calls { sub: 1 calls { call_id: 1 } }") +
      step(85, "voice_calls { sub: 1 calls { call_id: 2 } }") + step(90, "voice_calls { sub: 1 }") +
      step(95, "highspeed_rail { sub: 1 lte: true nr5g: false }") + step(100, "rrc_states { }");
  EXPECT_EQ(shown(track_in(text)),
            "scenario time, 0 to 103\n"
            "sub 0\n"
            "LTE RSRP: 0=-90 10=-95 20=-85 30=-85\n"
            "out: 40..70=1\n"
            "technology: 0..30=3 30..40=1 70..103=3\n"
            "RRC LTE: 20..60=2 60..100=1\n"
            "RRC WCDMA: 60..100=3\n"
            "other cell at 20\n"
            "other technology at 30\n"
            "sub 1, no cells\n"
            "calls: 80..90=1\n"
            "rail LTE: 95..103=1\n");
}

std::string cell_report(int seconds, int rsrp) {
  return concat(
      "Payload size: 2\n10 0 \nReceived serving neighboring cell info on Sub :0\n"
      "serving neighboring cell info. Number of cells: 1\n\n=== Cell 1 === {Log Time: ",
      1700000000 + seconds, ",Cell Type: 6,Timestamp: ", seconds,
      "000000000,Timestamp Type: 1,Registered: 1}\n\n"
      "== NR Cell Identity == {MCC: 1,MNC: 2,CI: 5,PCI: 3,TAC: 4,EARFCN: 5}\n\n== NR Signal Strength == {RSRP: ",
      rsrp, ",RSRQ: 0,RSSNR: 0,CQI: 7}\n");
}

TEST(PlotTest, WhatNoReceiverMeasuresIsAGap) {
  std::string text;
  int seconds = 0;
  for (const int rsrp : {-156, -200, -1, 0, -90, 2147483647, -91}) text += cell_report(seconds++, rsrp);
  const Track track = track_of(read_run(text, "run.txt"));
  ASSERT_EQ(track.subscriptions.at(0).curves.size(), 1U);  // an RSRQ of 0 is none
  EXPECT_EQ(shown(track.subscriptions[0].curves[0]),
            "NR RSRP: 0=-156 1=-156 | 2=-1 3=-1 | 4=-90 5=-90 | 6=-91 6.18=-91");
}

TEST(PlotTest, CallsAndOutagesOfARunHaveTheirOwnTime) {
  const auto calls = [](int seconds, const char* which) {
    return concat("Log Time: ", 1700000000 + seconds,
                  ", Received voice call info on Sub:0, voice call info-Number of calls: ", which, "\n");
  };
  const std::string no_cells =
      "Payload size: 2\n16 0 \nReceived serving neighboring cell info on Sub :0\n"
      "serving neighboring cell info. Number of cells: 0\n";
  const std::string text = cell_report(0, -90) + cell_report(10, -95) +
                           calls(13, "1: [{ Call: 1, CallID: 1, CallState: 5}]") + no_cells + calls(16, "0: []") +
                           cell_report(20, -99) + calls(40, "0: []");
  EXPECT_EQ(shown(track_of(read_run(text, "run.txt"))),
            "timestamps, 0 to 41.2\n"
            "sub 0\n"
            "NR RSRP: 0=-90 10=-95 14.5=-95 | 20=-99 41.2=-99\n"
            "out: 16..20=1\n"
            "perhaps out: 13..16=1\n"
            "technology: 0..14.5=6 20..41.2=6\n"
            "calls: 13..16=1\n");
}

TEST(PlotTest, AWindowShowsWhatHoldsWhenItOpens) {
  const std::string text = lte(0, -90) + step(2, "voice_calls { calls { call_id: 1 } }") + lte(4, -95) +
                           step(6, "cells { sub: 3 }") + lte(8, -97) + "repeat_after: 10";
  const auto part = [&text](const Window& window) { return shown(part_of(track_in(text), window)); };
  EXPECT_EQ(part({3, 5, {}}),
            "scenario time, 3 to 5\nsub 0\nLTE RSRP: 3=-90 4=-95 5=-95\ntechnology: 3..5=3\ncalls: 3..5=1\nsub 3\nout: "
            "3..5=1\n");
  EXPECT_EQ(part({7, {}, 3}), "scenario time, 7 to 10\nsub 3\nout: 7..10=1\n");
  EXPECT_EQ(part({{}, 99, 3}), "scenario time, 0 to 10\nsub 3\nout: 0..10=1\n");
  EXPECT_EQ(error_of([&part] {
              (void)part({10, {}, {}});
            }),
            "--from: expected less than the 10 seconds that there are, found 10");
  EXPECT_EQ(part_of(track_in(text), {1, 1 + 1e-15, {}}).end, 1 + 1e-9);  // it is divided by its length
  EXPECT_EQ(error_of([&part] { (void)part({{}, {}, 1}); }), "--sub: expected 0 or 3, found 1");
}

TEST(PlotTest, ThinningLosesNoPeakAndNoOutage) {
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    const int rsrp = i == 7777 ? -60 : i == 12345 ? -130 : -100 - i % 3;
    text += i == 15000 ? step(i, "cells { }") : lte(i, rsrp, concat("cell_identity { ci: ", i / 2, " }"));
  }
  constexpr int buckets = 100;
  const Track track = thinned(track_in(text + "repeat_after: 20000"), buckets);
  const auto& subscription = track.subscriptions.at(0);
  std::vector<double> values;
  for (const Stretch& stretch : subscription.curves.at(0).stretches) {
    for (const Point& point : stretch) values.push_back(point.value);
  }
  EXPECT_EQ(*std::ranges::min_element(values), -130);
  EXPECT_EQ(*std::ranges::max_element(values), -60);
  EXPECT_EQ(values.size(), 4U * buckets + 1);  // and the end, in a bucket of its own
  EXPECT_EQ(shown(subscription.strips.at(Strip::outage)), " 15000..15200=1");
  EXPECT_EQ(subscription.cell_changes.size(), std::size_t{buckets});
  // Shorter than a bucket, but the only one of its kind: still there, and wide enough to be seen.
  EXPECT_EQ(shown(thinned(track_in(lte(0, -90) + step(1, "voice_calls { calls { } }") + step(2, "voice_calls { }") +
                                   "repeat_after: 1000"),
                          buckets)
                      .subscriptions.at(0)
                      .strips.at(Strip::calls)),
            " 1..11=1");
}

TEST(PlotTest, TicksDifferFromEachOther) {
  const struct {
    double begin;
    double end;
    const char* unit;
    const char* ticks;
  } cases[] = {{0, 0.5, "s", "0.00 0.05 0.10 0.15 0.20 0.25 0.30 0.35 0.40 0.45 0.50"},
               {0, 1, "s", "0.0 0.1 0.2 0.3 0.4 0.5 0.6 0.7 0.8 0.9 1.0"},
               {3600.2, 3602, "s", "3600.2 3600.4 3600.6 3600.8 3601.0 3601.2 3601.4 3601.6 3601.8 3602.0"},
               {0, 24, "s", "0 5 10 15 20"},
               {50, 130, "min:s", "0:50 1:00 1:10 1:20 1:30 1:40 1:50 2:00 2:10"},
               {0, 3599, "min:s", "0:00 10:00 20:00 30:00 40:00 50:00"},
               {7190, 7250, "h:min:s", "1:59:50 2:00:00 2:00:10 2:00:20 2:00:30 2:00:40 2:00:50"},
               {0, 9999, "h:min", "0:00 0:30 1:00 1:30 2:00 2:30"},
               {0, 1e7, "h:min", "0:00 480:00 960:00 1440:00 1920:00 2400:00"},
               // Times that a step does not tell from each other.
               {9999999, 9999999.000000001, "s", "9999999.0000000000 9999999.0000000019"},
               {1e16, 1e16 + 4, "s", "10000000000000000 10000000000000002 10000000000000004"},
               {1e19, 1.5e19, "s", "1.0368e+19 1.1232e+19 1.2096e+19 1.296e+19 1.3824e+19 1.4688e+19"}};
  for (const auto& [begin, end, unit, expected] : cases) {
    const TimeAxis axis = time_axis(begin, end);
    std::string ticks;
    for (const auto& [time, text] : axis.ticks) ticks += (ticks.empty() ? "" : " ") + text;
    EXPECT_EQ(axis.unit, unit);
    EXPECT_EQ(ticks, expected);
  }
}

TEST(PlotTest, ALineOfTheScriptForWhateverIsShown) {
  const auto script = [](const std::string& text) { return script_of(track_in(text), "it's", format_for("-")); };
  const std::string busy = script(lte(0, -90) + step(3, "cells { }") + step(4, "rrc_states { nr5g_rrc_state: 7 }") +
                                  step(5, "cells { sub: 1 }"));
  for (const char* const line :
       {"\"RSRP of the serving cell (dBm)\"", "title \"LTE RSRP\"", "title \"no serving cell\"",
        "title \"RRC state 7\"", "set ytics scale 0 (\"technology\" 1.5, \"RRC NR\" 0.5)", "\"subscription 0: RSRP",
        "\"subscription 1: no signal of a serving cell in it's\"", "set label 3 'time (scenario time, s)'"}) {
    const bool stands = busy.find(line) != std::string::npos;
    EXPECT_EQ(stands, !std::string(line).starts_with("\"RSRP")) << line;  // there is a subscription before it
  }
  EXPECT_NE(script("").find("\"no cell reports in it's\""), std::string::npos);
  EXPECT_NE(script(step(0, "voice_calls { calls { } }")).find("\"no cell reports in it's\""), std::string::npos);
}

TEST(PlotTest, TitlesAreTextThatEveryPictureCanShow) {
  const std::pair<std::string, std::string> cases[] = {
      {"a'b\"]]>&.txt", "a'b\"]]>&.txt"},
      {"a\nb\x7f\x01.txt", "a\uFFFDb\uFFFD\uFFFD.txt"},
      {"\xff\xc3\xa9\xef\xbf\xbe.txt", "\uFFFDé\uFFFD.txt"},
      {std::string(200, 'a') + "é", std::string(50, 'a') + "…" + std::string(49, 'a') + "é"}};
  for (const auto& [name, title] : cases) EXPECT_EQ(title_of(name), title);
}

/// A program in gnuplot's place.
class GnuplotTest : public testing::Test {
 protected:
  GnuplotTest() { setenv("PATH", (folder_.path().string() + ":" + path_).c_str(), 1); }
  ~GnuplotTest() override { setenv("PATH", path_.c_str(), 1); }

  void does(const std::string& commands) const {
    std::ofstream(folder_ / "gnuplot") << "#!/bin/sh\n" << commands << "\n";
    std::filesystem::permissions(folder_ / "gnuplot", std::filesystem::perms::owner_all);
  }

 private:
  std::string path_ = getenv("PATH");
  const cellscope::test::TemporaryFolder folder_;
};

TEST_F(GnuplotTest, WhatItDoesWrongIsAnError) {
  const std::pair<const char*, const char*> cases[] = {
      {"exit 0", "plot: expected a picture from gnuplot, found nothing"},
      {"echo '<?xml'", "plot: expected a picture from gnuplot, found something else"},
      {"echo >&2; echo no such terminal >&2; exit 1", "plot: gnuplot failed: no such terminal"},
      {"echo 'line 1: unknown or ambiguous terminal type' >&2; exit 1",
       "plot: expected a gnuplot with the terminals svg, pngcairo and pdfcairo, found one without this one; the "
       "package gnuplot-nox has one with all"},
      {"exit 3", "plot: gnuplot failed: it ended with exit status 3"},
      {"kill $$", "plot: gnuplot failed: it was ended by signal 15"},
      {"exec cat /dev/zero", "plot: expected less than 256 MiB from gnuplot, found more"},
      {"exec cat /dev/zero >&2", "plot: expected less than 256 MiB from gnuplot, found more"},
  };
  for (const auto& [commands, message] : cases) {
    does(commands);
    EXPECT_EQ(error_of([] { (void)draw({}, "x", format_for("-")); }), message);
  }
  does("sleep 1000 & sleep 1000");
  EXPECT_EQ(error_of([] { (void)run_gnuplot("", std::chrono::milliseconds(50)); }),
            "plot: gnuplot has not drawn anything after 0.05 seconds, and was stopped");
}

}  // namespace
}  // namespace kelvane_hub
