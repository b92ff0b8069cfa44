// Expected texts that stand in files of their own: golden/NAME.txt beside the tests.
#pragma once

#include <string>

namespace cellscope::test {

/// The golden file `name` of this program's tests; empty if there is none.
std::string golden(const std::string& name);

/// Expects the golden file `name` of this program's tests to be `text`. With
/// CELLSCOPE_WRITE_GOLDEN in the environment it is written anew instead: read the difference before you keep it.
void expect_golden(const std::string& name, const std::string& text);

/// `text` with whatever is not printable as \xNN, but for newlines.
std::string printable(const std::string& text);

}  // namespace cellscope::test
