// Test points in the forms that machines read.
#pragma once

#include <span>
#include <string>

#include "hub/testbench/judge.h"

namespace kelvane_hub {

/// Version 13 of the Test Anything Protocol.
std::string to_tap(std::span<const TestPoint> points);

/// One suite called `suite`, in the form of JUnit; `seconds` is how long it took.
std::string to_junit(std::span<const TestPoint> points, const std::string& suite, double seconds);

}  // namespace kelvane_hub
