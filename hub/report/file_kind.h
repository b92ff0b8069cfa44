// What kind of a file it is that a command is given.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kelvane_hub {

enum class FileKind : std::uint8_t {
  capture,   // of what hubs and clients have said, or any pcap file
  scenario,  // in protobuf text format
  run,       // an output file of cellscope or a saved console session
  drive,     // the CSV export of a drive-test app
};

/// "capture", "scenario", "run" or "drive".
std::string_view name_of(FileKind kind);

/// Tells the kind by what stands in `text`, whatever the file is called: the first kind that it looks like, in the
/// order above. An empty file is a run that has heard nothing. Throws InputError, "name:line: expected …, found …", if
/// it looks like none.
FileKind kind_of_file(std::string_view text, const std::string& name);

}  // namespace kelvane_hub
