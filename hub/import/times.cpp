#include "hub/import/times.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

using std::chrono::nanoseconds;
using std::chrono::sys_seconds;

constexpr std::string_view plain_form = "0000.00.00_00.00.00";
constexpr std::string_view iso_forms[] = {"0000-00-00T00:00:00", "0000-00-00 00:00:00"};
constexpr std::string_view offset_forms[] = {"00", "0000", "00:00"};
constexpr std::int64_t least_milliseconds = 100'000'000'000;

bool is_digit(char character) { return character >= '0' && character <= '9'; }

std::size_t count_digits(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::find_if_not(text, is_digit) - text.begin());
}

/// Of digits only.
std::optional<std::int64_t> whole_number(std::string_view digits) {
  std::int64_t value = 0;
  const auto error = std::from_chars(digits.data(), digits.data() + digits.size(), value).ec;
  return error == std::errc{} ? std::optional(value) : std::nullopt;
}

/// Takes the fraction of a second, if there is one, from the front of `text`; empty if it has no digits.
std::optional<nanoseconds> take_fraction(std::string_view& text) {
  if (!text.starts_with('.') && !text.starts_with(',')) return nanoseconds(0);
  text.remove_prefix(1);
  const std::size_t size = count_digits(text);
  if (size == 0) return {};
  std::string digits(text.substr(0, size));
  text.remove_prefix(size);
  digits.resize(9, '0');
  return nanoseconds(*whole_number(digits));
}

/// What a clock shows before UTC does, of "", "Z", "+01:00", with or without a blank before it.
std::optional<std::chrono::minutes> offset_of(std::string_view text) {
  if (text.starts_with(' ')) text.remove_prefix(1);
  if (text.empty() || text == "Z") return std::chrono::minutes(0);
  const std::string_view size = text.substr(1);
  const auto has = [size](std::string_view form) { return has_form(size, form); };
  if ((text[0] != '+' && text[0] != '-') || std::ranges::none_of(offset_forms, has)) return {};
  const std::chrono::hours hours(*whole_number(size.substr(0, 2)));
  const std::chrono::minutes minutes(size.size() > 2 ? *whole_number(size.substr(size.size() - 2)) : 0);
  if (hours.count() > 23 || minutes.count() > 59) return {};
  return text[0] == '+' ? hours + minutes : -(hours + minutes);
}

/// Of a text that begins with one of the forms.
std::optional<sys_seconds> calendar_time(std::string_view text) {
  using namespace std::chrono;
  const auto part = [text](std::size_t at, std::size_t size) { return *whole_number(text.substr(at, size)); };
  const auto small = [part](std::size_t at) { return static_cast<unsigned>(part(at, 2)); };
  const year_month_day date{year(static_cast<int>(part(0, 4))), month(small(5)), day(small(8))};
  const unsigned hour = small(11), minute = small(14), second = small(17);
  const bool is_shown = date.year() >= year(1970) && date.year() <= year(2200);
  if (!date.ok() || !is_shown || hour > 23 || minute > 59 || second > 59) return {};
  return sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
}

std::optional<Moment> parse_calendar_time(std::string_view text) {
  const std::string_view clock = text.substr(0, plain_form.size());
  const bool is_plain = has_form(clock, plain_form);
  const auto has = [clock](std::string_view form) { return has_form(clock, form); };
  if (!is_plain && std::ranges::none_of(iso_forms, has)) return {};
  const auto time = calendar_time(clock);
  std::string_view rest = text.substr(clock.size());
  const auto fraction = take_fraction(rest);
  if (is_plain && !rest.empty()) return {};
  const auto offset = offset_of(rest);
  if (!time || !fraction || !offset) return {};
  return *time + *fraction - *offset;
}

std::optional<Moment> parse_unix_time(std::string_view text) {
  constexpr sys_seconds end = std::chrono::sys_days(std::chrono::year(2201) / 1 / 1);
  const std::size_t size = count_digits(text);
  const auto whole = whole_number(text.substr(0, size));
  text.remove_prefix(size);
  const auto fraction = take_fraction(text);
  if (!whole || !fraction || !text.empty()) return {};
  const bool is_milliseconds = *whole >= least_milliseconds;
  if (*whole / (is_milliseconds ? 1000 : 1) >= end.time_since_epoch().count()) return {};
  if (is_milliseconds) return Moment(std::chrono::milliseconds(*whole) + *fraction / 1000);
  return Moment(std::chrono::seconds(*whole) + *fraction);
}

}  // namespace

std::optional<Moment> parse_moment(std::string_view text) {
  const auto moment = parse_calendar_time(text);
  return moment ? moment : parse_unix_time(text);
}

}  // namespace kelvane_hub
