#include "fuzz/everything.h"

#include <google/protobuf/text_format.h>

#include <stdexcept>

#include "hub/messages/catalogue.h"
#include "hub/scenario/timeline.h"
#include "hub/testbench/explainer.h"

namespace kelvane_hub::fuzz {
namespace {

template <class Message>
std::string bytes_of(const char* text) {
  Message message;
  if (!google::protobuf::TextFormat::ParseFromString(text, &message)) throw std::runtime_error(text);
  return message.SerializeAsString();
}

}  // namespace

std::string envelope(std::uint32_t msg_id, const std::string& payload) {
  sns_client_request_msg request;
  request.set_msg_id(msg_id);
  request.mutable_request()->set_payload(payload);
  return request.SerializeAsString();
}

std::vector<std::string> requests_for_everything() {
  return {envelope(attribute_request, ""),
          envelope(self_test_config, "\x08\x01"),
          envelope(report_registration,
                   bytes_of<mox_wwan_sensor_config>("report_voice_calls: true report_rrc_state_info: true")),
          envelope(signal_strength_config, bytes_of<mox_wwan_signal_strength_config>(R"(
            sub_id: 0 threshold_infos { ran: EUTRAN measurement_type: RSRP enabled: true hysteresis_ms: 100
                                        hysteresis_db: 2 thresholds: [-110, -90] })")),
          envelope(on_change_config, ""),
          envelope(cell_location_query, ""),
          envelope(streaming_config, bytes_of<mox_wwan_streaming_sensor_config>("sample_rate: 5"))};
}

void play_everything(const PackedScenario& played, int seconds, Delivery& delivery) {
  static const auto requests = requests_for_everything();
  constexpr int speed = 10;
  Timeline timeline(played, {speed, {}});
  Simulator simulator(played, timeline, delivery);
  Explainer explainer([](const std::string&) {});
  simulator.watch(explainer);
  Time now = std::chrono::hours(1);
  for (const auto& sensor : played.head().sensors()) {
    for (const auto& request : requests) {
      simulator.handle_request({1, {sensor.suid().suid_low(), sensor.suid().suid_high()}}, request, now);
    }
  }
  const Time end = now + Time(std::chrono::seconds(seconds)) / speed;
  for (; now < end; now += std::chrono::milliseconds(100)) simulator.advance(now);
}

}  // namespace kelvane_hub::fuzz
