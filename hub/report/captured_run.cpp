#include "hub/report/captured_run.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "hub/report/report_form.h"
#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

bool is_answer(const MessageKind& kind) {
  return kind.id == attribute_event || kind.id == lookup_event || kind.id == self_test_event;
}

bool has_report(const MessageKind& kind) {
  return kind.id == error_event || (kind.payload != nullptr && is_reported(*kind.payload()));
}

/// A client takes what can be read of a payload, too.
std::unique_ptr<google::protobuf::Message> message_in(const std::string& payload, const MessageKind& kind) {
  if (kind.payload == nullptr) return nullptr;
  std::unique_ptr<google::protobuf::Message> message(kind.payload()->New());
  (void)message->ParseFromString(payload);
  message->DiscardUnknownFields();
  return message;
}

class CaptureWalk {
 public:
  explicit CaptureWalk(bool reports_only) : reports_only_(reports_only) { all_.run.place_name = "record"; }

  /// The next record, the `place`th.
  void add(const CaptureRecord& record, std::size_t place) {
    record_ = &record;
    place_ = place;
    if (record.direction == Direction::request) return add_request();
    sns_client_event_msg delivery;
    (void)delivery.ParseFromString(record.message);
    for (const auto& event : delivery.events()) add_event(event);
  }

  CapturedRun take() {
    if (!all_.run.events.empty()) all_.times.clock = RunClock::log;
    all_.times.log = all_.times.axis;
    return std::move(all_);
  }

 private:
  void add_event(const sns_client_event_msg::sns_client_event& event) {
    const MessageKind& kind = kind_of(event.msg_id());
    if (reports_only_ ? !has_report(kind) : is_answer(kind)) return;
    RunEvent told;
    told.kind = &kind;
    told.line = place_;
    told.message = message_in(event.payload(), kind);
    told.payload_size = event.payload().size();
    told.payload = event.payload();
    told.log_time = std::chrono::floor<std::chrono::seconds>(record_->time).count();
    all_.run.events.push_back(std::move(told));
    if (!first_) first_ = record_->time;
    const double seconds = std::chrono::duration<double>(record_->time - *first_).count();
    all_.times.axis.push_back({seconds, seconds, seconds});
  }

  const MessageKind& kind_of(std::uint32_t id) {
    const MessageKind* const known = find_event_kind(id);
    return known != nullptr ? *known
                            : all_.more.try_emplace(id, MessageKind{id, "unknown event", nullptr}).first->second;
  }

  // ---- what is asked, as a run tells it ----

  void note(RunNote::Kind kind, std::int32_t number = 0) { all_.run.notes.push_back({place_, kind, number}); }

  /// Configured once more, it is still the same connection.
  void note_connection(RunNote::Kind kind) {
    if (!std::exchange(is_connected_, true)) note(kind);
  }

  void add_request() {
    sns_client_request_msg request;
    if (!request.ParseFromString(record_->message)) return;
    const std::string& payload = request.request().payload();
    switch (request.msg_id()) {
      case on_change_config:
        note_connection(RunNote::Kind::on_change);
        return note(RunNote::Kind::changes);
      case streaming_config:
        return add_stream(payload);
      case report_registration:
        return add_registration(payload);
      case signal_strength_config:
        return note(RunNote::Kind::thresholds);
      case cell_location_query:
        return note(RunNote::Kind::cell_location);
      default:
        return;
    }
  }

  void add_stream(const std::string& payload) {
    constexpr std::int32_t query_mode = 2;
    mox_wwan_streaming_sensor_config config;
    (void)config.ParseFromString(payload);
    note_connection(config.report_mode() == query_mode ? RunNote::Kind::query_mode : RunNote::Kind::streaming);
    note(RunNote::Kind::rate, static_cast<std::int32_t>(config.sample_rate()));
  }

  void add_registration(const std::string& payload) {
    mox_wwan_sensor_config config;
    (void)config.ParseFromString(payload);
    if (config.report_voice_calls()) note(RunNote::Kind::voice_calls);
    if (config.report_rrc_state_info()) note(RunNote::Kind::rrc_states);
  }

  const bool reports_only_;
  CapturedRun all_;
  const CaptureRecord* record_ = nullptr;
  std::size_t place_ = 0;
  std::optional<std::chrono::nanoseconds> first_;
  bool is_connected_ = false;
};

template <class IsWanted>
CapturedRun walk(const Capture& capture, bool reports_only, const IsWanted& is_wanted) {
  CaptureWalk walk(reports_only);
  for (std::size_t i = 0; i < capture.records.size(); ++i) {
    if (is_wanted(capture.records[i])) walk.add(capture.records[i], i + 1);
  }
  return walk.take();
}

}  // namespace

CapturedRun reports_in(const Capture& capture) {
  return walk(capture, true, [](const CaptureRecord&) { return true; });
}

CapturedRun run_of_session(const Capture& capture, std::uint32_t session) {
  const sns_suid_sensor lookup;
  return walk(capture, false, [&](const CaptureRecord& record) {
    const bool is_lookup = record.sensor.suid_low == lookup.suid_low() && record.sensor.suid_high == lookup.suid_high();
    return record.session == session && !is_lookup;
  });
}

}  // namespace kelvane_hub
