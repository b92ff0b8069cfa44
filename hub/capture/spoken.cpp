#include "hub/capture/spoken.h"

#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

std::shared_ptr<google::protobuf::Message> parsed(const MessageKind* kind, const std::string& payload) {
  if (kind == nullptr || kind->payload == nullptr) return nullptr;
  std::shared_ptr<google::protobuf::Message> fields(kind->payload()->New());
  return fields->ParseFromString(payload) ? fields : nullptr;
}

template <class Envelope>
void drop_same_suid(Envelope& envelope, suid sensor) {
  const auto& own = envelope.suid();
  if (own.suid_low() == sensor.suid_low && own.suid_high() == sensor.suid_high) envelope.clear_suid();
}

Spoken request_in(const CaptureRecord& record) {
  auto envelope = std::make_shared<sns_client_request_msg>();
  if (!envelope->ParseFromString(record.message) || !envelope->has_msg_id()) {
    return {.record = &record, .payload = record.message};
  }
  Spoken request{.record = &record, .msg_id = envelope->msg_id(), .kind = find_request_kind(envelope->msg_id())};
  request.payload = envelope->request().payload();
  request.fields = parsed(request.kind, request.payload);
  envelope->clear_msg_id();
  envelope->mutable_request()->clear_payload();
  if (envelope->request().unknown_fields().empty()) envelope->clear_request();
  drop_same_suid(*envelope, record.sensor);
  request.envelope = std::move(envelope);
  return request;
}

/// `rest` is the delivery without its events.
Spoken event_in(const CaptureRecord& record, const sns_client_event_msg& rest,
                const sns_client_event_msg::sns_client_event& event) {
  Spoken spoken{.record = &record, .msg_id = event.msg_id(), .kind = find_event_kind(event.msg_id())};
  spoken.payload = event.payload();
  spoken.fields = parsed(spoken.kind, spoken.payload);
  auto envelope = std::make_shared<sns_client_event_msg>(rest);
  auto& left = *envelope->add_events();
  left = event;
  left.clear_msg_id();
  left.clear_payload();
  spoken.envelope = std::move(envelope);
  return spoken;
}

}  // namespace

std::vector<Spoken> spoken_in(const CaptureRecord& record) {
  if (record.direction == Direction::request) return {request_in(record)};
  sns_client_event_msg delivery;
  if (!delivery.ParseFromString(record.message) || delivery.events().empty()) {
    return {{.record = &record, .payload = record.message}};
  }
  const auto events = delivery.events();
  delivery.clear_events();
  drop_same_suid(delivery, record.sensor);
  std::vector<Spoken> all;
  for (const auto& event : events) all.push_back(event_in(record, delivery, event));
  return all;
}

std::string_view name_of(const Spoken& spoken) {
  if (!spoken.msg_id) return "unreadable";
  return spoken.kind == nullptr ? "unknown" : spoken.kind->name;
}

const char* name_of(Direction direction) { return direction == Direction::request ? "request" : "event"; }

}  // namespace kelvane_hub
