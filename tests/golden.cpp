#include "tests/golden.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace cellscope::test {

void expect_golden(const std::string& name, const std::string& text) {
  const std::string path = GOLDEN_FOLDER "/" + name + ".txt";
  if (std::getenv("CELLSCOPE_WRITE_GOLDEN") != nullptr) std::ofstream(path) << text;
  std::ifstream file(path);
  EXPECT_TRUE(file) << "no " << path;
  std::istringstream actual(text);
  std::string wanted_line;
  std::string line;
  for (int number = 1;; ++number) {
    const bool more_wanted = static_cast<bool>(std::getline(file, wanted_line));
    const bool more = static_cast<bool>(std::getline(actual, line));
    if (!more_wanted && !more) return;
    if (more_wanted != more || wanted_line != line) {
      ADD_FAILURE() << path << ":" << number << ": expected\n  " << (more_wanted ? wanted_line : "the end")
                    << "\nfound\n  " << (more ? line : "the end");
      return;
    }
  }
}

std::string printable(const std::string& text) {
  constexpr const char* digits = "0123456789abcdef";
  std::string shown;
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (character == '\n' || (code >= ' ' && code < 127)) {
      shown += character;
    } else {
      shown += {'\\', 'x', digits[code / 16U], digits[code % 16U]};
    }
  }
  return shown;
}

}  // namespace cellscope::test
