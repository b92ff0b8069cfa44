// Automation mode in one process: arguments, files, operations, SIGINT.

#include "cli/automation.h"

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "cli/arguments.h"
#include "cli/output_log.h"
#include "tests/client/fixture.h"

namespace cellscope::test {
namespace {

namespace fs = std::filesystem;

/// Runs in a folder of its own, which holds the output directory.
class Automation : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    std::string name = fs::temp_directory_path() / "cellscope.XXXXXX";
    folder_ = mkdtemp(name.data());
    before_ = fs::current_path();
    fs::create_directory(folder_ / "output");
    fs::current_path(folder_);
  }

  void TearDown() override {
    fs::current_path(before_);
    fs::remove_all(folder_);
    (void)std::signal(SIGINT, SIG_DFL);
    ClientTest::TearDown();
  }

  /// Runs the client with `words` until the main thread's sleep number `last`, in which SIGINT comes.
  void run(std::vector<std::string> words, int last) {
    platform().on_sleep = [last](int nth) {
      if (nth == last) (void)raise(SIGINT);
    };
    words.insert(words.begin(), "cellscope");
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    run_automation(static_cast<int>(arguments.size()), arguments.data());
  }

  static std::string file(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream("output/" + name).rdbuf();
    return text.str();
  }

 private:
  fs::path folder_;
  fs::path before_;
};

TEST_F(ClientTest, ArgumentsAreTakenApartAtTheFirstEqualsSign) {
  std::vector<std::string> words{"dir=x/cellscope", "a=b=c", "=x", "plain", "", "k=", "a=last", "file_name=f"};
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  const auto map = strToMap(static_cast<int>(arguments.size()), arguments.data());
  EXPECT_EQ(map, (ArgumentMap{{"dir", "x/cellscope"}, {"a", "last"}, {"", "x"}, {"k", ""}, {"file_name", "f"}}));
  EXPECT_EQ(printed(),
            "Key: dir, Value: x/cellscope\nKey: a, Value: b=c\nKey: , Value: x\nKey: k, Value: \n"
            "Key: a, Value: last\nKey: file_name, Value: f\n");
}

struct OperationCase {
  std::vector<std::string> arguments;
  int sigint_in_sleep;
  const char* name;    // of the output file
  const char* output;  // in it
  const char* calls;   // after the discovery's
  std::string diagnosed;
};

TEST_F(Automation, OperationsDoTheirWork) {
  const std::string attribute = "event_cb:666, attribute ID :16\n";
  const OperationCase operations[] = {
      {{"operation=2", "rate=10"},
       2,
       "wwan_test_output.txt",
       "Input given 2\nStreaming sensor rate : 10\nListening For streaming sensor\nListening For streaming sensor\n"
       "Got the  signal for 2\n",
       "send 2: 1\nsleep 3\nsend 2: 642\nclose 1\ndelete 1\nsleep 3\nsleep 3\nclose 2\ndelete 2\n",
       attribute + "send_config_req:845, sending on normal config request and sample rate 10\n"},
      {{"operation=2x", "filename=-1"},
       1,
       "wwan_test_output.txt",
       "Input given 2\nStreaming sensor rate : -1\nListening For streaming sensor\nGot the  signal for 2\n",
       "send 2: 515\nclose 1\ndelete 1\nsleep 3\nclose 2\ndelete 2\n",
       "send_selftest_req:772, sending self test request\n"},
      {{"operation=3", "filename=calls.txt"},
       3,
       "calls.txt",
       "Input given 3\nconnecting to on-change sensor\nListening For Voice Call status indication\n"
       "Got the  signal for 2\n",
       "send 2: 1\nsleep 3\nsend 2: 642\nclose 1\ndelete 1\nsleep 10\nsend 2: 641\nsleep 3\nsleep 3\n"
       "close 2\ndelete 2\n",
       attribute + "send_config_req:845, sending on normal config request and sample rate 0\n"
                   "register_voice_call_status:1490, sending set_report_voice_calls request\n"},
  };
  for (const auto& operation : operations) {
    TearDown();
    SetUp();
    platform().attributes = stream_type_attribute(0);
    run(operation.arguments, operation.sigint_in_sleep);
    EXPECT_EQ(file(operation.name), operation.output);
    const std::string all = calls();
    const std::string registered = "register 2: 7 9\nregister 2: 7 9\n";
    EXPECT_EQ(all.substr(all.find(registered) + registered.size()), operation.calls);
    EXPECT_EQ(diagnosed(), operation.diagnosed);
    EXPECT_TRUE(fs::exists("output/wwan_test_output_pid_-1.txt"));
  }
}

TEST_F(Automation, ABadNumberEndsTheRun) {
  EXPECT_THROW(run({"request_id=abc"}, 0), std::invalid_argument);
  EXPECT_TRUE(fs::is_empty("output"));
  EXPECT_THROW(run({"request_id=99999999999999999999"}, 0), std::out_of_range);
  for (const auto& words : {std::vector<std::string>{"operation=x"}, {"operation=2", "rate="}}) {
    EXPECT_THROW(run(words, 0), std::invalid_argument) << words.back();
    singal_handler(SIGINT);
  }
  EXPECT_EQ(calls(), "");
}

}  // namespace
}  // namespace cellscope::test
