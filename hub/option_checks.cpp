#include "hub/option_checks.h"

#include <cmath>
#include <cstdint>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/numbers.h"
#include "hub/capture/filter.h"

namespace kelvane_hub {
namespace {

std::string unless(bool is_right, const char* expected, const std::string& given) {
  return is_right ? "" : concat("expected ", expected, ", found ", quoted(given));
}

// What is not a number fails each comparison.
bool is_speed(const std::string& given) {
  const auto speed = number_of<double>(given);
  return speed && *speed >= 0.01 && *speed <= 10000;
}

bool is_seconds(const std::string& given) {
  const auto seconds = number_of<double>(given);
  return seconds && *seconds >= 0 && std::isfinite(*seconds);
}

}  // namespace

std::string check_file(const std::string& given) { return given.empty() ? "expected a file, found none" : ""; }

std::string check_capture(const std::string& given) {
  return given == "-" ? "expected a file, found '-' (/dev/stdout is standard output)" : check_file(given);
}

std::string check_speed(const std::string& given) { return unless(is_speed(given), "0.01 to 10000", given); }

std::string check_run_speed(const std::string& given) {
  return unless(given == "max" || is_speed(given), "0.01 to 10000 or max", given);
}

std::string check_times(const std::string& given) {
  const auto times = number_of<std::int64_t>(given);
  return unless(times && *times >= 1 && *times <= 1'000'000'000, "1 to 1000000000", given);
}

std::string check_seed(const std::string& given) {
  return unless(number_of<std::uint64_t>(given).has_value(), "a whole number, 0 to 18446744073709551615", given);
}

std::string check_timeout(const std::string& given) { return unless(is_seconds(given), "seconds, 0 or more", given); }

std::string check_place(const std::string& given) {
  return unless(is_seconds(given), "seconds from the start, 0 or more", given);
}

std::string check_sub(const std::string& given) {
  return unless(number_of<std::uint32_t>(given).has_value(), "a subscription, 0 or more", given);
}

std::string check_session(const std::string& given) {
  return unless(number_of<std::uint32_t>(given).value_or(0) > 0, "the number of a session, 1 or more", given);
}

std::string check_source(const std::string& given) {
  return unless(given == "csv" || given == "run" || given == "capture", "csv, run or capture", given);
}

std::string check_format(const std::string& given) {
  return unless(given == "json" || given == "csv", "json or csv", given);
}

std::string check_summary_format(const std::string& given) {
  return unless(given == "table" || given == "json", "table or json", given);
}

std::string check_line_format(const std::string& given) {
  return unless(given == "text" || given == "json", "text or json", given);
}

std::string check_filter(const std::string& given) try {
  (void)Filter({given});
  return "";
} catch (const InputError& error) {
  return error.what();
}

}  // namespace kelvane_hub
