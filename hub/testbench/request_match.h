// Requests as scenarios describe them.
#pragma once

#include <google/protobuf/message.h>
#include <google/protobuf/util/message_differencer.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "hub/scenario/step_source.h"
#include "hub/simulator/link.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// What a request says, taken apart once, however often it comes.
class AskedFor {
 public:
  /// `sensor` is its data type; empty: the lookup's, or there is none.
  AskedFor(std::string sensor, std::uint32_t msg_id, std::string payload);

  const std::string& sensor() const { return sensor_; }
  std::uint32_t msg_id() const { return msg_id_; }
  std::size_t payload_size() const { return payload_.size(); }

  /// The payload as what it is meant to be; null if it is none of that kind, or the kind is not known.
  const google::protobuf::Message* message() const { return message_.get(); }

  /// Bytes of memory, about.
  std::size_t size() const;

  std::strong_ordering operator<=>(const AskedFor& other) const;

 private:
  std::string sensor_;
  std::uint32_t msg_id_;
  std::string payload_;
  std::unique_ptr<google::protobuf::Message> message_;
};

/// A request that has come.
struct SeenRequest {
  SessionId session;
  const AskedFor* what;
  ScenarioTime at;  // 0 before the start
};

/// "signal_strength_config { sub_id: 0 } to wwan".
std::string text_of(const scenario_request& expected);
std::string text_of(const AskedFor& asked);

/// The msg_id of all requests of that kind.
std::uint32_t id_of(const scenario_request& expected);

/// Tells which requests say all that is expected.
class RequestMatcher {
 public:
  /// `expected` outlives this object.
  explicit RequestMatcher(const scenario_request& expected);

  bool matches(const AskedFor& asked);

 private:
  const scenario_request& expected_;
  const std::uint32_t msg_id_;
  google::protobuf::util::MessageDifferencer differencer_;
};

}  // namespace kelvane_hub
