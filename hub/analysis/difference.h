// What one run, capture, scenario or drive reports that another does not.
#pragma once

#include <optional>
#include <string>

#include "hub/analysis/evaluated_file.h"

namespace kelvane_hub {

/// What `before` and `after` do not have in common, in order: a line "-PLACE: event { … }" for each report that only
/// `before` has, "+PLACE: …" for those of `after`, below a heading that names both; empty if there is nothing. When
/// something was reported does not count, neither log times nor timestamps, unless there is a tolerance: then neither
/// do reports match that are more than so many seconds apart, counted from the first report of each file.
///
/// Of a kind of which the messages of one file are as sent and those of another only as printed, what is 0 is taken for
/// what is absent.
std::string difference_of(const EvaluatedFile& before, const EvaluatedFile& after, std::optional<double> tolerance);

}  // namespace kelvane_hub
