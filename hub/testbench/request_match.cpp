#include "hub/testbench/request_match.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/short_text.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::util::MessageDifferencer;

const FieldDescriptor& field_in(const scenario_request& request) {
  return *scenario_request::descriptor()->FindFieldByNumber(request.what_case());
}

std::string text(std::string_view kind, const Message& payload, std::string_view sensor) {
  const std::string fields = short_text(payload);
  return concat(kind, fields.empty() ? " {}" : " { " + fields + " }", sensor.empty() ? "" : " to ", sensor);
}

std::unique_ptr<Message> parsed(std::uint32_t msg_id, const std::string& bytes) {
  const MessageKind* const kind = find_request_kind(msg_id);
  if (kind == nullptr) return nullptr;
  std::unique_ptr<Message> payload(kind->payload == nullptr ? new scenario_no_payload : kind->payload()->New());
  return payload->ParseFromString(bytes) ? std::move(payload) : nullptr;
}

}  // namespace

std::string text_of(const scenario_request& expected) {
  const FieldDescriptor& kind = field_in(expected);
  return text(kind.name(), scenario_request::GetReflection()->GetMessage(expected, &kind), expected.sensor());
}

std::string text_of(const AskedFor& asked) {
  const MessageKind* const kind = find_request_kind(asked.msg_id());
  if (asked.message() != nullptr) return text(kind->name, *asked.message(), asked.sensor());
  return concat("request ", asked.msg_id(), " of ", asked.payload_size(), " bytes");
}

AskedFor::AskedFor(std::string sensor, std::uint32_t msg_id, std::string payload)
    : sensor_(std::move(sensor)), msg_id_(msg_id), payload_(std::move(payload)), message_(parsed(msg_id_, payload_)) {}

std::size_t AskedFor::size() const {
  return sizeof *this + sensor_.capacity() + payload_.capacity() + (message_ ? message_->SpaceUsedLong() : 0);
}

std::strong_ordering AskedFor::operator<=>(const AskedFor& other) const {
  return std::tie(msg_id_, payload_, sensor_) <=> std::tie(other.msg_id_, other.payload_, other.sensor_);
}

std::uint32_t id_of(const scenario_request& expected) {
  return std::ranges::find(request_kinds(), field_in(expected).name(), &MessageKind::name)->id;
}

RequestMatcher::RequestMatcher(const scenario_request& expected) : expected_(expected), msg_id_(id_of(expected)) {
  differencer_.set_scope(MessageDifferencer::PARTIAL);
  differencer_.set_repeated_field_comparison(MessageDifferencer::AS_SET);
}

bool RequestMatcher::matches(const AskedFor& asked) {
  if (asked.msg_id() != msg_id_ || asked.message() == nullptr) return false;
  if (expected_.has_sensor() && expected_.sensor() != asked.sensor()) return false;
  return differencer_.Compare(scenario_request::GetReflection()->GetMessage(expected_, &field_in(expected_)),
                              *asked.message());
}

}  // namespace kelvane_hub
