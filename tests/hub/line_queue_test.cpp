#include "hub/base/line_queue.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

TEST(LineQueue, WhatIsShownStandsBelowAllLines) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe(ends.data()));
  const UniqueFd in(ends[0]);
  UniqueFd out(ends[1]);
  {
    static constexpr LineCause causes[] = {{"decisions", 9}, {"progress", 9}};
    LineQueue lines(out.get(), "hub", causes);
    lines.show(1, "");
    lines.show(1, "1 %");
    lines.say(0, "not met");
    lines.say(0, "met");
    lines.show(1, "");
  }
  out.reset();
  std::array<char, 100> read{};
  const auto size = ::read(in.get(), read.data(), read.size());
  EXPECT_EQ("\r\033[K1 %\r\033[Khub: not met\nhub: met\n", std::string(read.data(), static_cast<std::size_t>(size)));
}

}  // namespace
}  // namespace kelvane_hub
