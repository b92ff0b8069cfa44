// What was seen of a modem: the form that runs, scenarios and recordings have in common for whoever evaluates them.
#pragma once

#include <google/protobuf/message.h>

#include <cstddef>
#include <functional>

namespace kelvane_hub {

/// A time in seconds, and how exact it is.
struct RunTime {
  double seconds = 0;   // the best estimate; always finite
  double earliest = 0;  // it was not before; -infinity if nothing tells
  double latest = 0;    // nor after; infinity if nothing tells
};

/// An event. It and what it refers to last while an Observer is told of it.
struct Observation {
  RunTime time;       // seconds from the beginning of what is observed, with finite bounds
  std::size_t place;  // the line of a run or the number of a step, from 1; 0: nothing says so, but so it is
  const google::protobuf::Message& message;  // of a kind that the catalogue has
  /// Whether the message is what the sensor said. Without that, a 0 may be how its absence was printed.
  bool is_as_sent = true;
  bool is_dated = true;  // it has a time of its own, and not only one between those around it
};

using Observer = std::function<void(const Observation&)>;

/// What `observation` tells; null if it is no Payload.
template <class Payload>
const Payload* payload_of(const Observation& observation) {
  return google::protobuf::DynamicCastToGenerated<const Payload>(&observation.message);
}

}  // namespace kelvane_hub
