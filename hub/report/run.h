// What a run of cellscope has written to its output file.
#pragma once

#include <google/protobuf/message.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"

namespace kelvane_hub {

/// An event that a run has reported.
struct RunEvent {
  const MessageKind* kind = nullptr;
  std::size_t line = 0;  // where its report begins, from 1
  /// What the report says, as a payload of that kind: each value that is printed is set. Null if nobody knows the kind,
  /// as may be of captures.
  std::unique_ptr<google::protobuf::Message> message;
  std::optional<std::uint64_t> payload_size;
  std::optional<std::string> payload;            // its bytes: of cells and cell locations, and of all in captures
  std::optional<std::int64_t> log_time;          // of voice calls, RRC states and all in captures; seconds
  std::vector<std::int64_t> log_times_of_cells;  // one for each cell, of all subscriptions
};

/// What `event` reports; null if that is no Payload.
template <class Payload>
const Payload* payload_of(const RunEvent& event) {
  return google::protobuf::DynamicCastToGenerated<const Payload>(event.message.get());
}

/// What is odd of one kind in a file.
struct Oddity {
  std::size_t count = 0;
  std::size_t line = 0;  // of the first
  std::string first;     // what it is, for a message

  void add(std::size_t at, const std::string& what) {
    if (count++ == 0) line = at, first = what;
  }
  /// Both of them as one.
  Oddity operator+(const Oddity& other) const {
    const Oddity& earlier = count == 0 || (other.count != 0 && other.line < line) ? other : *this;
    return {count + other.count, earlier.line, earlier.first};
  }
};

/// What a line that is no report's tells: what the client has asked for, or an event that it has only a diagnostic for.
struct RunNote {
  enum class Kind : std::uint8_t {
    operation,  // of automation mode
    on_change,  // it connects to that sensor
    streaming,
    query_mode,
    reconnection,
    changes,      // it wants to hear of each change
    rate,         // it wants so many reports a second
    voice_calls,  // it registers for them
    rrc_states,
    cell_location,  // it asks for it
    thresholds,     // it sets them
    error,          // an error event has come
    unknown_id,     // or one of an id that the client does not know
  };

  std::size_t line;
  Kind kind;
  std::int32_t number = 0;  // of the operation, the rate, the error, the id
};

struct Run {
  std::string_view place_name = "line";  // what `line` counts everywhere here: lines, or the records of a capture
  std::vector<RunEvent> events;
  std::vector<RunNote> notes;
  /// The line at which a report begins that the file does not have to its end, as happens when a run is stopped or the
  /// file is pulled meanwhile; 0: there is none. It is not among the events.
  std::size_t cut_off = 0;
  /// How many lines that report lacks at the least.
  std::size_t missing = 0;
  /// The line in the middle of which the file ends, as on a full disk; 0: it ends with a whole one.
  std::size_t torn = 0;
  /// The lines that say that the main thread listens, which it does every three seconds.
  std::vector<std::size_t> listening;

  Oddity strays;     // lines that are no part of a report
  Oddity diagnosed;  // those of them that tell of an event, and are among the notes; they are not among the strays
  Oddity broken;     // reports that are not as they are printed; they are not among the events
  Oddity glued;      // reports that begin behind other text on their line
};

/// A place in the file `name`: "run.txt:12", or "run.pcap: record 12".
inline std::string place_in(std::string_view place_name, const std::string& name, std::size_t line) {
  return place_name == "line" ? concat(name, ':', line) : concat(name, ": ", place_name, ' ', line);
}

}  // namespace kelvane_hub
