// The messages of a capture, taken out of their envelopes.
#pragma once

#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hub/messages/catalogue.h"
#include "hub/wire/capture_file.h"

namespace kelvane_hub {

/// A request or one event of a delivery.
struct Spoken {
  const CaptureRecord* record = nullptr;
  std::optional<std::uint32_t> msg_id{};  // none: the envelope cannot be read, or has no event
  const MessageKind* kind = nullptr;      // null: nobody knows that id
  /// The rest of the envelope: without suid, if it is the record's, id and payload. Null if it cannot be read.
  std::shared_ptr<google::protobuf::Message> envelope{};
  std::string payload{};                                // without an envelope: the whole message
  std::shared_ptr<google::protobuf::Message> fields{};  // of the payload; null if it is not of its kind's type
};

/// What stands in `record`, which outlives what is returned: at least one.
std::vector<Spoken> spoken_in(const CaptureRecord& record);

/// How it is shown: the name of its kind, "unknown" or "unreadable".
std::string_view name_of(const Spoken& spoken);

/// "request" or "event".
const char* name_of(Direction direction);

}  // namespace kelvane_hub
