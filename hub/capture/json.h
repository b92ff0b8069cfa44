// Messages as JSON, whatever they hold.
#pragma once

#include <google/protobuf/message.h>

#include <nlohmann/json.hpp>

#include "hub/capture/mask.h"

namespace kelvane_hub {

/// The fields that are set, by name. Bytes, and text that is no UTF-8, are {"hex": "…"}; fields that nobody knows are
/// in "unknown_fields", as they came. With a `mask`, which may be null, identities bear the names that it gives them,
/// and what nobody knows is hidden.
nlohmann::ordered_json json_of(const google::protobuf::Message& message, Mask* mask);

}  // namespace kelvane_hub
