#include "hub/simulator/outbox.h"

#include <utility>

#include "hub/messages/catalogue.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

std::string in_envelope(suid from, std::uint32_t msg_id, const std::string& payload, Time now) {
  sns_client_event_msg envelope;
  envelope.mutable_suid()->set_suid_low(from.suid_low);
  envelope.mutable_suid()->set_suid_high(from.suid_high);
  auto& event = *envelope.add_events();
  event.set_msg_id(msg_id);
  event.set_timestamp(static_cast<std::uint64_t>(now.count()));
  event.set_payload(payload);
  return envelope.SerializeAsString();
}

bool is_same(suid one, suid other) { return one.suid_low == other.suid_low && one.suid_high == other.suid_high; }

}  // namespace

void Outbox::send(const Link& to, const std::string& message, Time now) {
  ++sent_;
  watchers_.on_event(to, message, now);
  delivery_.deliver(to, message);
}

void Outbox::send(const Link& to, std::uint32_t msg_id, const std::string& payload, Time now) {
  send(to, in_envelope(to.sensor, msg_id, payload, now), now);
}

void Outbox::send_error(const Link& to, HubError error, Time now) {
  sns_std_error_event event;
  event.set_error(static_cast<std::int32_t>(error));
  send(to, error_event, event.SerializeAsString(), now);
}

void Broadcast::send(const Link& to) {
  if (message_.empty() || !is_same(from_, to.sensor)) {
    from_ = to.sensor;
    message_ = in_envelope(from_, msg_id_, payload_, now_);
  }
  outbox_.send(to, message_, now_);
}

CellsBroadcast::CellsBroadcast(Outbox& outbox, SharedCells cells, Time now, ScenarioTime told)
    : cells_(std::move(cells)), told_(told), event_(outbox, cells_event, cells_->payload, now) {}

void CellsBroadcast::send(const Link& to, SensorUse& use) {
  use.filters[cells_->cells.sub()].note_told(cells_, told_);
  event_.send(to);
}

}  // namespace kelvane_hub
