#include "hub/testbench/request_match.h"

#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>

#include <memory>
#include <string_view>

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::util::MessageDifferencer;

const FieldDescriptor& field_in(const scenario_request& request) {
  return *scenario_request::descriptor()->FindFieldByNumber(request.what_case());
}

std::string text(std::string_view kind, const Message& payload, std::string_view sensor) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::string fields;
  printer.PrintToString(payload, &fields);
  return concat(kind, fields.empty() ? " {}" : " { " + fields + "}", sensor.empty() ? "" : " to ", sensor);
}

/// The payload as what it is meant to be; null if it is none of that kind.
std::unique_ptr<Message> payload_of(const MessageKind& kind, const SeenRequest& seen) {
  std::unique_ptr<Message> payload(kind.payload == nullptr ? new scenario_no_payload : kind.payload()->New());
  if (!payload->ParseFromString(seen.payload)) return nullptr;
  return payload;
}

}  // namespace

std::string text_of(const scenario_request& expected) {
  const FieldDescriptor& kind = field_in(expected);
  return text(kind.name(), scenario_request::GetReflection()->GetMessage(expected, &kind), expected.sensor());
}

std::string text_of(const SeenRequest& seen) {
  const MessageKind* const kind = find_request_kind(seen.msg_id);
  const auto payload = kind == nullptr ? nullptr : payload_of(*kind, seen);
  if (payload) return text(kind->name, *payload, seen.sensor);
  return concat("request ", seen.msg_id, " of ", seen.payload.size(), " bytes");
}

bool is_same_kind(const scenario_request& expected, const SeenRequest& seen) {
  const MessageKind* const kind = find_request_kind(seen.msg_id);
  return kind != nullptr && kind->name == field_in(expected).name();
}

bool matches(const scenario_request& expected, const SeenRequest& seen) {
  if (!is_same_kind(expected, seen)) return false;
  if (expected.has_sensor() && expected.sensor() != seen.sensor) return false;
  const auto payload = payload_of(*find_request_kind(seen.msg_id), seen);
  if (!payload) return false;
  MessageDifferencer differencer;
  differencer.set_scope(MessageDifferencer::PARTIAL);
  differencer.set_repeated_field_comparison(MessageDifferencer::AS_SET);
  return differencer.Compare(scenario_request::GetReflection()->GetMessage(expected, &field_in(expected)), *payload);
}

}  // namespace kelvane_hub
