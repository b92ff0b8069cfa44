#include "hub/scenario/scenario_file.h"

#include <gtest/gtest.h>

#include <fstream>

#include "hub/base/input_error.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_check.h"
#include "hub/wire/frame.h"
#include "tests/golden.h"
#include "tests/temporary_folder.h"

namespace kelvane_hub {
namespace {

std::string error_of(const std::string& text) {
  try {
    (void)parse_scenario(text, "x");
    return "";
  } catch (const InputError& error) {
    return error.what();
  }
}

TEST(ScenarioFile, MistakesAreNamedWithTheirPlace) {
  const std::string sensor = "sensors { data_type: 'a' suid { suid_low: 1 } }\n";
  const std::string cell = "steps { at: 0 cells { cells { lte { signal_strength { rsrp: -90 } } } } }\n";
  const std::string texts[] = {
      "steps { at: 1 error { } }",
      "steps {",
      "\n  stops { }",
      "steps { at: 'now' }",
      "steps { error { } }",
      "steps { at: 1 }",
      "steps { at: 2 error { } }\n steps { at: 1.5 error { } }",
      "steps { at: -1 error { } }",
      "steps { at: nan error { } }",
      "steps { at: 1 raw { } }",
      "steps { at: 3 error { } } repeat_after: 3",
      "steps { at: 12345.67 error { } } steps { at: 12345.66 error { } }",
      "repeat_after: 0",
      "sensors { suid { } }",
      "sensors { data_type: 'a' }",
      "sensors { data_type: 'a' suid { } refusals { error: 1 } }",
      sensor + sensor,
      "sensors { data_type: 'a' suid { suid_low: 0x6c6f6f6b75702d31 suid_high: 0x6b656c76616e6531 } }",
      "steps { at: 1 }\nsteps { error { } }",
      "steps { at: 0 bells {} }\nstops {}",
      "stops {}\nsteps { at: 0 bells {} }",
      "steps { at: 'now' }\nrepeat_after: never\nsteps { at: 'then' }",
      "steps [{ at: 1 error {} },\n{ at: 2 }] steps: [ <error {}> ]",
      "sensors: [{ suid {} },\n\t{ data_type: 'a' }]",
      "steps [{ at: 1 error {} } { at: 2 error {} }]",
      "steps: [5]",
      "steps { at: 1 error {} >\nstops {}",
      "\t# {\n\tsteps <\tat: 1\terror {}\tbells: '}' >\tsteps {\n\tat: now }",
      "description: 'a' steps { at: 1 error {} } 'b'",
      "description: 'a' steps { at: 1 error {} }, ;",
      "repeat_after: steps { at: 1 error {} }",
      "repeat_after: 5steps { at: 1 error {} }",
      "description: 'a\nsteps { at: 1 error {} }'",
      "description: 'a' [b.c] { } description: 'd'",
      "steps { at: 0 expect {} }\nsteps { at: 0 wait_for { within: -1 } }\nsteps { at: 0 wait_for { clients: 4097 } }",
      "steps { at: 0 expect { requests { sensor: 'wwan' } never: true in_order: true count: 0 within: nan } }",
      "steps { at: 0 wait_for { requests { sensor: 'wwam' attr_req {} } } }\n" +
          std::string("steps { at: 0 expect { requests { sensor: 'wwan' suid_req {} } } }"),
      sensor + "steps { at: 1 wait_for { clients: 2 requests { sensor: 'wwan' attr_req {} } } }\nrepeat_after: 2",
      "steps { at: 0 expect { requests { sensor_config { report_calls: true } attr_req { a: 1 } } } }",
      "steps { at: 0 expect { requests { raw { msg_id: 1 } } } }",
      "steps { at: 0 ramp { field: 'rsrp' to: 4 over: 4 } }\nsteps { at: 0 change { sub: 1 set {} } }",
      "steps { change { set {} } }",
      cell +
          "steps { at: 0 change {} }\nsteps { at: 0 change { clear: 'rscp' } }\n"
          "steps { at: 0 change { cell: 1 set {} } }\nsteps { at: 0 change { cell: 0 all_cells: true set {} } }",
      cell +
          "steps { at: 0 ramp { field: 'registered' to: 1 over: 1 } }\n"
          "steps { at: 0 ramp { field: 'rsrq' to: 1 over: 1 } }\n"
          "steps { at: 0 ramp { field: 'rsrp' over: 1 } }\n"
          "steps { at: 0 ramp { field: 'rsrp' to: 3e9 over: 1 } }\n"
          "steps { at: 0 ramp { field: 'ci' from: nan to: 1 over: 1 } }\n"
          "steps { at: 0 ramp { field: 'rsrp' to: 1 } }\n"
          "steps { at: 1 ramp { field: 'rsrp' to: 1 over: 1e7 } }\n"
          "steps { at: 1 ramp { field: 'rsrp' to: 1 over: 1 every: 0 } }\n"
          "steps { at: 1 ramp { field: 'rsrp' to: 1 over: 200 every: 0.001 } }",
      cell +
          "steps { at: 0 vary { field: 'rsrp' by: 1.7 over: 2 } }\n"
          "steps { at: 0 vary { field: 'rsrp' over: 2 } }\n"
          "steps { at: 0 vary { field: 'rsrp' by: 1 over: 1 } }\n"
          "steps { at: 0 vary { field: 'rsrq' by: 1 over: 2 } }\n"
          "steps { at: 0 vary { field: 'rscp' by: 1 over: 2 } }",
      cell + "steps { at: 0 ramp { field: 'rsrp' to: -95 over: 4 } }\nrepeat_after: 4",
      "repeat: 0",
      "steps { at: 2 error {} }\nstart: 3 duration: -1",
      "steps { at: 2 error {} }\nduration: 4 repeat_after: 3",
      "steps { at: 1 } steps { at: 2 error {} }\nstart: 2",
      cell + "steps { at: 3 vary { field: 'rsrp' by: 1 over: 0 } }\nstart: 9",
  };
  std::string mistakes;
  for (const auto& text : texts) mistakes += text + "\n  " + error_of(text) + "\n";
  cellscope::test::expect_golden("ScenarioMistakes", mistakes);
}

TEST(ScenarioFile, EverySpellingIsUnderstood) {
  const std::string steps = R"(at: 1 error { } at: 2 raw { msg_id: 1 payload: "{\'\"#" } )";
  for (const char* text : {
           R"(steps { at: 1 error {} } steps { at: 2 raw { msg_id: 1 payload: '{\'"#' } })",
           R"(steps:<at:1,error:<>;>;steps:{at:2e0;raw:{msg_id:0x1,payload:"{'" '\"' # " }
              "#"}},)",
           R"(steps [] steps: [{ at: 1. error {} }, # ]
              <at: .2e+1f raw <msg_id: 01 payload: "\x7b'" "\"#">>];steps:[])",
           "#{\nsteps#{\n:#{\n{#}\nat:1#}\nerror{}}#}\n;steps{at:2 raw{msg_id:1 payload:'{\\'\\42\\43'}}",
       }) {
    const PackedScenario parsed = parse_scenario(text, "x");
    std::string found;
    for (std::size_t i = 0; i < parsed.steps_size(); ++i) found += parsed.step(i).ShortDebugString() + " ";
    EXPECT_EQ(found, steps) << text;
  }
}

TEST(ScenarioFile, WhatCouldNotBeSentIsRefused) {
  scenario_step step;
  step.set_at(1);
  step.mutable_raw()->set_msg_id(1);
  scenario head;
  auto& sensor = *head.add_sensors();
  sensor.set_data_type("a");
  sensor.mutable_suid();
  auto& values = *sensor.add_attributes()->mutable_value()->add_values();
  for (const std::size_t size : {max_payload - 1100, max_payload - 1024}) {
    const std::string bytes(size, 'x');
    step.mutable_raw()->set_payload(bytes);
    values.set_text(bytes);
    ScenarioCheck check;
    check.check_step(step, {2, 3});
    check.check_head(head, {{{4, 5}}, {}}, 0);
    Mistakes mistakes("x");
    check.tell(mistakes, true);
    EXPECT_EQ(mistakes.text(), size < max_payload - 1024
                                   ? ""
                                   : "x:3:4: expected at most 67107840 bytes, found a step of 67107861\n"
                                     "x:5:6: expected at most 67107840 bytes, found attributes of 67107860");
  }
}

TEST(ScenarioFile, WhatCanHardlyBeMeantIsDoubted) {
  const cellscope::test::TemporaryFolder folder;
  const std::string file = folder / "doubted.textproto";
  const std::pair<const char*, const char*> cells[] = {
      {"cell_type: 3 lte { signal_strength { rsrp: -160 rsrq: 23 } }", ""},
      {"cell_type: 3 lte { signal_strength { rsrp: 300 } }", "RSRP is 300, expected about -140 to -44"},
      {"cell_type: 4 wcdma { signal_strength { rscp: -141 } }", "RSCP is -141, expected about -120 to -24"},
      {"cell_type: 6", ""},
      {"lte {}", "cell_type is absent, expected 1 to 6: clients print nothing of such a cell but its head"},
      {"cell_type: 7", "cell_type is 7, expected 1 to 6: clients print nothing of such a cell but its head"},
      {"cell_type: 1 nr {}",
       "cell_type is 1 (GSM), but the cell's values are those of NR: clients print 0 in their place"},
  };
  for (const auto& [cell, doubt] : cells) {
    std::ofstream(file) << "steps { at: 0 cells { cells { cell_type: 6 }\n cells { " << cell << " } } }";
    EXPECT_EQ(doubt_scenario(file).warnings, *doubt == '\0' ? "" : file + ":2:2: warning: " + doubt);
  }
  const std::string odd =
      ": warning: cell_type is 7, expected 1 to 6: clients print nothing of such a cell but its head";
  std::ofstream(file)
      << "steps [{ at: 0 cells < cells: [ { cell_type: 3 },\n\t{ cell_type: 7 }] cells { cell_type: 7 } > }]";
  EXPECT_EQ(doubt_scenario(file).warnings, file + ":2:9" + odd + "\n" + file + ":2:27" + odd);
}

TEST(ScenarioFile, DeepNestingIsRefused) {
  std::string lists = "sensors { attributes { value ";
  for (int i = 0; i < 200'000; ++i) lists += "{ values { list ";
  EXPECT_NE(error_of(lists).find("Message is too deep"), std::string::npos);
}

TEST(ScenarioFile, DescribesWhatIsThere) {
  const std::pair<const char*, const char*> cases[] = {
      {"description: 'two' steps { at: 1 cells { sub: 3 } } steps { at: 2.5 rrc_states { } } repeat_after: 9",
       "two\nsensors: wwan wwan_stream\nsubscriptions: 0 3\nsteps: 2, cells 1, rrc_states 1\n"
       "last step at 2.5 s, begins anew after 9 s\n"},
      {"steps { at: 7 highspeed_rail { sub: 1 } }",
       "sensors: wwan wwan_stream\nsubscriptions: 1\nsteps: 1, highspeed_rail 1\nlast step at 7 s\n"},
      {"start: 1 duration: 3 repeat_after: 4 repeat: 2 steps { at: 0 cells { cells {} } } "
       "steps { at: 2 change { set { lte {} } } } steps { at: 4 error {} }",
       "sensors: wwan wwan_stream\nsubscriptions: 0\nsteps: 2, cells 2\nmade of shorthand: 1, change 1\n"
       "played in part: from 1 s of the file\n"
       "last step at 1 s, begins anew after 4 s, is played 2 times, ends after 3 s\n"},
      {"", "sensors: wwan wwan_stream\nsubscriptions: 0\nsteps: 0\nlast step at 0 s\n"},
  };
  for (const auto& [text, description] : cases) EXPECT_EQ(describe(parse_scenario(text, "x")), description);
}

TEST(ScenarioFile, EveryEventOfAStepIsInTheCatalogue) {
  const auto* const what = scenario_step::descriptor()->FindOneofByName("what");
  for (int i = 0; i < what->field_count(); ++i) {
    const auto* const event = what->field(i)->message_type();
    if (event == scenario_expectation::descriptor() || event == scenario_barrier::descriptor()) continue;
    if (event->name() == "scenario_change" || event->name() == "scenario_ramp" || event->name() == "scenario_vary")
      continue;
    EXPECT_TRUE(event == scenario_raw_event::descriptor() || find_event_kind(*event) != nullptr) << event->name();
  }
}

TEST(ScenarioFile, TheBuiltInOneShowsEverything) {
  std::set<int> technologies;
  std::set<int> kinds;
  const PackedScenario built_in = built_in_scenario();
  for (std::size_t i = 0; i < built_in.steps_size(); ++i) {
    const scenario_step step = built_in.step(i);
    kinds.insert(step.what_case());
    if (step.at() > 10) continue;
    for (const auto& cell : step.cells().cells()) {
      technologies.insert(cell.cell_type());
      EXPECT_EQ(static_cast<int>(cell.cell_info_case()), cell.cell_type() + 4);
    }
  }
  EXPECT_EQ(technologies, (std::set<int>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(kinds, (std::set<int>{2, 3, 4, 5, 6, 7}));
}

}  // namespace
}  // namespace kelvane_hub
