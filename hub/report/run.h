// What a run of cellscope has written to its output file.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane_hub {

using Json = nlohmann::ordered_json;

/// The events of a run in their order, each an object with the keys "event" (its kind), "line" (where its report
/// begins, from 1), then what the report says, by the names of the messages' fields.
struct Run {
  std::vector<Json> events;
  /// The line at which a report begins that the file does not have to its end, as happens when a run is stopped or the
  /// file is pulled meanwhile; 0: there is none. It is not among the events.
  std::size_t cut_off = 0;
};

/// Reads the output file whose content is `text`; lines of progress are skipped wherever they stand. `name` takes the
/// file's place in messages. Throws InputError, "name:line: expected …, found …", at a line that is no report.
Run read_run(std::string_view text, const std::string& name);

/// An event a line.
std::string to_json(const Run& run);

/// Comma-separated: a header, and a row for each cell, each call, or an event that has neither. A value that a row does
/// not have is empty.
std::string to_csv(const Run& run);

}  // namespace kelvane_hub
