// What shorthand in scenario files stands for.

#include <gtest/gtest.h>

#include "hub/base/input_error.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

std::string shown(const scenario_step& step) {
  std::string text = shown_seconds(step.at());
  for (const auto& cell : step.cells().cells()) {
    const auto& signal = cell.lte().signal_strength();
    text += cell.has_nr() ? " nr" : " " + std::to_string(signal.rsrp());
    if (signal.has_rsrq()) text += "/" + std::to_string(signal.rsrq());
    if (cell.has_timestamp()) text += " at " + std::to_string(cell.timestamp());
  }
  return text + (step.has_error() ? " error; " : "; ");
}

/// The steps in little: "0.5 -95/-10 -101; 1 error; ".
std::string steps_of(const std::string& text, std::optional<std::uint64_t> seed = {}) {
  const PackedScenario read = parse_scenario(text, "x", seed);
  std::string steps;
  for (std::size_t i = 0; i < read.steps_size(); ++i) steps += shown(read.step(i));
  return steps;
}

const std::string cells =
    "steps { at: 0 cells { cells { timestamp: 7 lte { signal_strength { rsrp: -90 rsrq: -9 } } } "
    "cells { lte { signal_strength { rsrp: -99 } } } } }";

std::string step(double at, const std::string& what) { return "steps { at: " + std::to_string(at) + " " + what + "} "; }

TEST(Expansion, ShorthandStandsForPlainSteps) {
  const std::string ramp = " ramp { field: 'rsrp' to: -93 over: 3 }";
  const std::string later = "cells { cells { lte { signal_strength { rsrp: -70 } } } }";
  const std::pair<std::string, const char*> cases[] = {
      {step(1, "change { set { lte { signal_strength { rsrp: -91 } } } }"), "1 -91/-9 -99; "},
      {step(1, "change { cell: 1 set { timestamp: 5 lte { signal_strength { rsrq: -3 } } } }"),
       "1 -90/-9 -99/-3 at 5; "},
      {step(1, "change { all_cells: true clear: 'rsrp' clear: 'rsrq' }") + step(2, "change { cell: 1 set { nr {} } }"),
       "1 0 0; 2 0 nr; "},
      {step(1, ramp), "2 -91/-9 -99; 3 -92/-9 -99; 4 -93/-9 -99; "},
      {step(1, "ramp { field: 'rsrp' from: -80 to: -85 over: 1.2 every: 0.5 cell: 1 }"),
       "1 -90/-9 -80; 1.5 -90/-9 -82; 2 -90/-9 -84; 2.2 -90/-9 -85; "},
      {step(1, ramp) + step(1, "ramp { field: 'rsrq' to: -5 over: 2 }"), "2 -91/-7 -99; 3 -92/-5 -99; 4 -93/-5 -99; "},
      // What the file has at the same time comes later, and what it says lasts until the next moment.
      {step(1, ramp) + step(2, later) + step(2.5, "error {}"), "2 -91/-9 -99; 2 -70; 2.5 error; 3 -92; 4 -93; "},
      // A field that is no longer there is left alone.
      {step(1, ramp) + step(2, "cells { cells { wcdma {} } }") + step(2.5, later),
       "2 -91/-9 -99; 2 0; 2.5 -70; 3 -92; 4 -93; "},
      {step(1, ramp) + step(2, "cells {}"), "2 -91/-9 -99; 2; 3; 4; "},
  };
  for (const auto& [text, steps] : cases) EXPECT_EQ(steps_of(cells + text), "0 -90/-9 at 7 -99; " + std::string(steps));
}

TEST(Expansion, WhatVariesDoesSoBySeed) {
  const std::string vary = step(0, "vary { field: 'rsrp' by: 3 over: 6 }");
  EXPECT_EQ(steps_of("seed: 4 " + cells + vary),
            "0 -90/-9 at 7 -99; 1 -89/-9 -99; 2 -91/-9 -99; 3 -90/-9 -99; 4 -87/-9 -99; 5 -89/-9 -99; 6 -90/-9 -99; ");
  EXPECT_EQ(steps_of(cells + vary + "seed: 4 "), steps_of("seed: 4 " + cells + vary));
  EXPECT_EQ(steps_of(cells + vary + "seed: 4 "), steps_of(cells + vary, 4));
  EXPECT_NE(steps_of(cells + vary), steps_of(cells + vary, 4));
  // About a ramp, and until it is over.
  EXPECT_EQ(steps_of("seed: 4 " + cells + vary + step(0, "ramp { field: 'rsrp' to: -120 over: 6 }")),
            "0 -90/-9 at 7 -99; 1 -94/-9 -99; 2 -101/-9 -99; 3 -105/-9 -99; 4 -107/-9 -99; 5 -114/-9 -99; "
            "6 -120/-9 -99; ");
}

TEST(Expansion, TheLastMomentIsTheEnd) {
  const auto times = [](const std::string& what) {
    const PackedScenario read = parse_scenario(cells + step(0.1, what), "x");
    std::string text;
    for (std::size_t i = 1; i < read.steps_size(); ++i) text += shown_seconds(read.time_of(i)) + " ";
    return text;
  };
  EXPECT_EQ(times("vary { field: 'rsrp' by: 9 over: 0.2 every: 0.1 }"), "0.2 0.3 ");
  EXPECT_EQ(times("ramp { field: 'rsrp' to: -99 over: 0.2 every: 0.1 }"), "0.2 0.3 ");
}

/// Of the first cell, after the first step.
std::vector<int> signals(const std::string& varied) {
  const PackedScenario read = parse_scenario("seed: 4 " + cells + varied, "x");
  std::vector<int> values;
  for (std::size_t i = 1; i < read.steps_size(); ++i) {
    values.push_back(read.step(i).cells().cells(0).lte().signal_strength().rsrp());
  }
  return values;
}

TEST(Expansion, VariationsOfOneFieldAddUp) {
  const std::string longer = step(0, "vary { field: 'rsrp' by: 3 over: 6 }");
  const std::string shorter = step(0, "vary { field: 'rsrp' by: 30 over: 3 }");
  // Its numbers, as the second of the file, are drawn on their own.
  const auto first = signals(longer);
  const auto second = signals(step(0, "vary { field: 'rsrq' by: 1 over: 6 }") + shorter);
  const auto both = signals(longer + shorter);
  ASSERT_EQ(both.size(), 6U);
  for (std::size_t i = 0; i < both.size(); ++i) EXPECT_EQ(both[i], first[i] + second[i] + 90) << i;
}

TEST(Expansion, OnlyAPartIsKept) {
  const std::string whole = cells + step(1, "ramp { field: 'rsrp' to: -93 over: 3 }") + step(2.5, "error {}");
  EXPECT_EQ(steps_of(whole + "start: 2.5"), "0 -91/-9 -99; 0 error; 0.5 -92/-9 -99; 1.5 -93/-9 -99; ");
  EXPECT_EQ(steps_of(whole + "start: 2.25 duration: 0.75"), "0 -91/-9 -99; 0.25 error; ");
  EXPECT_EQ(steps_of("duration: 2.5 " + whole), "0 -90/-9 at 7 -99; 2 -91/-9 -99; ");
}

TEST(Expansion, LittleTextMakesNoHugeScenario) {
  std::string many = "steps { at: 0 cells {";
  for (int i = 0; i < 1000; ++i) many += "cells { cell_type: 3 }";
  try {
    (void)parse_scenario(many + "} }\n" + step(0, "ramp { field: 'cell_type' to: 6 over: 90000 }"), "x");
    FAIL();
  } catch (const InputError& error) {
    EXPECT_EQ(std::string(error.what()), "x:2:1: expected at most 1000000 cells in place of shorthand, found more");
  }
}

}  // namespace
}  // namespace kelvane_hub
