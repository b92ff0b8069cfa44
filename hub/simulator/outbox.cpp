#include "hub/simulator/outbox.h"

#include "hub/messages/catalogue.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {

void Outbox::send(const Link& to, std::uint32_t msg_id, const std::string& payload, Time now) {
  sns_client_event_msg envelope;
  envelope.mutable_suid()->set_suid_low(to.sensor.suid_low);
  envelope.mutable_suid()->set_suid_high(to.sensor.suid_high);
  auto& event = *envelope.add_events();
  event.set_msg_id(msg_id);
  event.set_timestamp(static_cast<std::uint64_t>(now.count()));
  event.set_payload(payload);
  const std::string message = envelope.SerializeAsString();
  watchers_.on_event(to, message, now);
  delivery_.deliver(to, message);
}

void Outbox::send_error(const Link& to, HubError error, Time now) {
  sns_std_error_event event;
  event.set_error(static_cast<std::int32_t>(error));
  send(to, error_event, event.SerializeAsString(), now);
}

void Outbox::send_cells(const Link& to, SensorUse& use, const Cells& cells, Time now, ScenarioTime told) {
  use.filters[cells.sub()].note_told(cells, told);
  send(to, cells_event, cells.SerializeAsString(), now);
}

}  // namespace kelvane_hub
