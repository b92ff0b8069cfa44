#include "hub/analysis/alignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <optional>
#include <random>
#include <vector>

namespace kelvane_hub {
namespace {

TEST(Alignment, IsLongestAndInOrder) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::uint32_t> before(random() % 12), after(random() % 12);
    for (auto* const sequence : {&before, &after}) {
      std::ranges::generate(*sequence, [&random] { return random() % 4; });
    }
    // The textbook's table of longest common subsequences.
    std::vector<std::vector<std::size_t>> longest(before.size() + 1, std::vector<std::size_t>(after.size() + 1));
    for (std::size_t i = 0; i < before.size(); ++i) {
      for (std::size_t j = 0; j < after.size(); ++j) {
        longest[i + 1][j + 1] =
            before[i] == after[j] ? longest[i][j] + 1 : std::max(longest[i][j + 1], longest[i + 1][j]);
      }
    }
    std::size_t found = 0, next = 0;
    const auto partners = align(before, after);
    for (std::size_t i = 0; i < partners.size(); ++i) {
      if (!partners[i]) continue;
      ++found;
      ASSERT_EQ(before[i], after.at(*partners[i]));
      ASSERT_GE(*partners[i], next);
      next = *partners[i] + 1;
    }
    ASSERT_EQ(found, longest.back().back()) << testing::PrintToString(before) << testing::PrintToString(after);
  }
}

TEST(Alignment, TakesTheFirstOfSeveral) {
  using Partners = std::vector<std::optional<std::size_t>>;
  const std::vector<std::uint32_t> few{1, 1, 2, 1}, many{1, 1, 1, 2, 2, 1, 1};
  EXPECT_EQ((Partners{0, 1, {}, 2, {}, 3, {}}), align(many, few));
  EXPECT_EQ((Partners{0, 1, 3, 5}), align(few, many));
}

TEST(Alignment, OfWhatIsTooDifferentIsStillOne) {
  std::vector<std::uint32_t> before(5000);
  std::iota(before.begin(), before.end(), 0U);
  std::vector<std::uint32_t> after = before;
  std::mt19937 random(7);
  std::ranges::shuffle(before, random);
  std::ranges::shuffle(after, random);
  std::size_t found = 0;
  for (std::size_t next = 0; const auto& partner : align(before, after)) {
    if (!partner) continue;
    ASSERT_GE(*partner, next);
    next = *partner + 1;
    ++found;
  }
  EXPECT_GT(found, 50U);  // of about 140
}

}  // namespace
}  // namespace kelvane_hub
