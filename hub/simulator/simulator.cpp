#include "hub/simulator/simulator.h"

namespace kelvane_hub {

Simulator::Simulator(const PackedScenario& played, StepSource& source, Delivery& delivery)
    : outbox_(delivery), playback_(played, source, outbox_), requests_(played, playback_, outbox_) {}

void Simulator::handle_request(const Link& from, const std::string& envelope, Time now) {
  note_request(from, envelope, now);
  carry_out(from, envelope, now);
}

void Simulator::note_request(const Link& from, const std::string& envelope, Time now) {
  outbox_.watchers().on_request(from, envelope, now);
}

void Simulator::carry_out(const Link& from, const std::string& envelope, Time now) {
  requests_.handle(from, envelope, now);
}

void Simulator::refuse(const Link& from, HubError error, Time now) { outbox_.send_error(from, error, now); }

void Simulator::end_session(SessionId session) {
  requests_.end_session(session);
  playback_.end_session(session);
}

std::optional<Time> Simulator::next_due() const { return earlier(requests_.next_due(), playback_.next_due()); }

void Simulator::advance(Time now) {
  requests_.advance(now);
  playback_.advance(now);
}

}  // namespace kelvane_hub
