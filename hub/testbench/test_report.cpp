#include "hub/testbench/test_report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

/// What comes from scenarios and file names may be anything.
std::string in_utf8(const std::string& value) {
  using nlohmann::json;
  return json::parse(json(value).dump(-1, ' ', true, json::error_handler_t::replace)).get<std::string>();
}

/// A description ends with its line, and "#" begins a directive.
std::string in_tap(const std::string& name) {
  std::string text;
  for (const char character : in_utf8(name)) {
    if (character == '#' || character == '\\') text += '\\';
    text += character == '\n' || character == '\r' ? ' ' : character;
  }
  return text;
}

std::string in_xml(const std::string& value) {
  std::string text;
  std::string utf8 = in_utf8(value);
  for (const std::string_view forbidden : {"\xef\xbf\xbe", "\xef\xbf\xbf"}) {  // U+FFFE and U+FFFF
    for (auto at = utf8.find(forbidden); at != std::string::npos; at = utf8.find(forbidden, at)) {
      utf8.replace(at, forbidden.size(), "\xef\xbf\xbd");
    }
  }
  for (const char character : utf8) {
    switch (character) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '"':
        text += "&quot;";
        break;
      default:
        // XML has no way to write the others.
        text += static_cast<unsigned char>(character) < ' ' ? ' ' : character;
    }
  }
  return text;
}

}  // namespace

std::string to_tap(std::span<const TestPoint> points) {
  std::string text = concat("TAP version 13\n1..", points.size(), "\n");
  for (std::size_t number = 1; const TestPoint& point : points) {
    text += concat(point.unmet.empty() ? "" : "not ", "ok ", number++, " - ", in_tap(point.name), "\n");
    if (point.unmet.empty()) continue;
    // A string of JSON is one of YAML, too.
    text += concat("  ---\n  message: ", nlohmann::json(in_utf8(point.unmet)).dump(-1, ' ', true), "\n  ...\n");
  }
  return text;
}

std::string to_junit(std::span<const TestPoint> points, const std::string& suite, double seconds) {
  const auto failures = std::ranges::count_if(points, [](const TestPoint& point) { return !point.unmet.empty(); });
  char time[32];
  (void)std::snprintf(time, sizeof time, "%.3f", seconds);
  std::string text = concat("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"", in_xml(suite),
                            "\" tests=\"", points.size(), "\" failures=\"", failures, "\" time=\"", time, "\">\n");
  for (const TestPoint& point : points) {
    text += concat("  <testcase name=\"", in_xml(point.name), "\" classname=\"", in_xml(suite), "\"");
    text += point.unmet.empty() ? "/>\n"
                                : concat(">\n    <failure message=\"", in_xml(point.unmet), "\"/>\n  </testcase>\n");
  }
  return text + "</testsuite>\n";
}

}  // namespace kelvane_hub
