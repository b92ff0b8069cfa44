#include "hub/report/line_scanner.h"

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {

void LineScanner::take(std::string_view expected) {
  if (!starts_with(expected)) fail(quoted(expected));
  rest_.remove_prefix(expected.size());
}

void LineScanner::take_end() {
  if (!rest_.empty()) fail("the end of the line");
}

void LineScanner::fail(const std::string& expected) const {
  throw InputError(std::string(file_) + ":" + std::to_string(line_) + ": expected " + expected + ", found " +
                   (rest_.empty() ? "the end of the line" : quoted(rest_)));
}

}  // namespace kelvane_hub
