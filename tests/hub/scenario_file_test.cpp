#include "hub/scenario_file.h"

#include <gtest/gtest.h>

#include "hub/input_error.h"

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
  const struct {
    std::string text;
    const char* error;
  } cases[] = {
      {"steps { at: 1 error { } }", ""},
      {"steps {", "x:1:8: Expected identifier, got: "},
      {"\n  stops { }", "x:2:9: Message type \"scenario\" has no field named \"stops\"."},
      {"steps { at: 'now' }", "x:1:13: Expected double, got: 'now'"},
      {"steps { error { } }", "x:1:1: expected a time (at), found a step without one"},
      {"steps { at: 1 }",
       "x:1:1: expected something that happens (cells, voice_calls, …), found a step with a time only"},
      {"steps { at: 2 error { } }\n steps { at: 1.5 error { } }",
       "x:2:2: expected a time (at) of 2 seconds or later, found 1.5"},
      {"steps { at: -1 error { } }", "x:1:1: expected a time (at) from 0 to 10000000 seconds, found -1"},
      {"steps { at: nan error { } }", "x:1:1: expected a time (at) from 0 to 10000000 seconds, found nan"},
      {"steps { at: 1 raw { } }", "x:1:1: expected a msg_id, found a raw event without one"},
      {"steps { at: 3 error { } } repeat_after: 3",
       "x:1:27: expected 0.001 to 10000000 seconds and more than the last step's 3, found 3"},
      {"steps { at: 12345.67 error { } } steps { at: 12345.66 error { } }",
       "x:1:34: expected a time (at) of 12345.67 seconds or later, found 12345.66"},
      {"repeat_after: 0", "x:1:1: expected 0.001 to 10000000 seconds and more than the last step's 0, found 0"},
      {"sensors { suid { } }", "x:1:1: expected a data_type, found a sensor without one"},
      {"sensors { data_type: 'a' }", "x:1:1: expected a suid, found a sensor without one"},
      {"sensors { data_type: 'a' suid { } refusals { error: 1 } }",
       "x:1:1: expected a msg_id in each refusal, found a refusal without one"},
      {sensor + sensor, "x:2:1: expected a suid of its own, found that of sensor 1"},
      {"sensors { data_type: 'a' suid { suid_low: 0x6c6f6f6b75702d31 suid_high: 0x6b656c76616e6531 } }",
       "x:1:1: expected a suid of its own, found that of the lookup sensor"},
      {"steps { at: 1 }\nsteps { error { } }",
       "x:1:1: expected something that happens (cells, voice_calls, …), found a step with a time only\n"
       "x:2:1: expected a time (at), found a step without one"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(error_of(text), error) << text;
}

TEST(ScenarioFile, DeepNestingIsRefused) {
  std::string lists = "sensors { attributes { value ";
  for (int i = 0; i < 200'000; ++i) lists += "{ values { list ";
  EXPECT_NE(error_of(lists).find("Message is too deep"), std::string::npos);
}

TEST(ScenarioFile, DescribesWhatIsThere) {
  const auto played = parse_scenario(
      "description: 'two' steps { at: 1 cells { sub: 3 } } steps { at: 2.5 rrc_states { } } repeat_after: 9", "x");
  EXPECT_EQ(describe(played),
            "two\nsensors: wwan wwan_stream\nsubscriptions: 0 3\nsteps: 2, cells 1, rrc_states 1\n"
            "last step at 2.5 s, begins anew after 9 s\n");
}

TEST(ScenarioFile, TheBuiltInOneShowsEverything) {
  std::set<int> technologies;
  std::set<int> kinds;
  const scenario built_in = built_in_scenario();
  for (const auto& step : built_in.steps()) {
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
