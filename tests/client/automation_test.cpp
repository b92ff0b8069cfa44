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
#include "tests/temporary_folder.h"

namespace cellscope::test {
namespace {

namespace fs = std::filesystem;

/// Runs in a folder of its own, which holds the output directory.
class Automation : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    before_ = fs::current_path();
    fs::create_directory(folder_ / "output");
    fs::current_path(folder_.path());
  }

  void TearDown() override {
    fs::current_path(before_);
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
  const TemporaryFolder folder_;
  fs::path before_;
};

TEST_F(ClientTest, ArgumentsAreTakenApartAtTheFirstEqualsSign) {
  std::vector<std::string> words{"dir=x/cellscope", "a=b=c", "=x", "plain", "", "k=", "a=last", "file_name=f"};
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  const auto map = strToMap(static_cast<int>(arguments.size()), arguments.data());
  EXPECT_EQ(map, (ArgumentMap{{"dir", "x/cellscope"}, {"a", "last"}, {"", "x"}, {"k", ""}, {"file_name", "f"}}));
  record();
}

TEST_F(Automation, OperationsDoTheirWork) {
  const struct {
    std::vector<std::string> arguments;
    int sigint_in_sleep;
    const char* output_file;
  } operations[] = {
      {{"operation=1"}, 2, "wwan_test_output.txt"},
      {{"operation=2", "rate=10"}, 2, "wwan_test_output.txt"},
      {{"operation=2x", "filename=-1"}, 1, "wwan_test_output.txt"},
      {{"operation=3", "filename=calls.txt"}, 3, "calls.txt"},
  };
  for (const auto& [arguments, sleep, name] : operations) {
    start_anew();
    platform().attributes = stream_type_attribute(0);
    run(arguments, sleep);
    record(arguments[0]);
    note("---- " + std::string(name) + "\n" + file(name));
    EXPECT_EQ(file("wwan_test_output_pid_-1.txt"), "Request_-1 : " + std::to_string(getpid()) + "\n");
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
