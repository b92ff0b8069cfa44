#include "tests/golden.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace cellscope::test {

namespace {

std::string path_of(const std::string& name) { return GOLDEN_FOLDER "/" + name + ".txt"; }

}  // namespace

std::string golden(const std::string& name) {
  std::ifstream file(path_of(name));
  return {std::istreambuf_iterator(file), {}};
}

void expect_golden(const std::string& name, const std::string& text) {
  if (std::getenv("CELLSCOPE_WRITE_GOLDEN") != nullptr) std::ofstream(path_of(name)) << text;
  EXPECT_EQ(golden(name), text) << path_of(name);
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
