#include "thresholds/signal_strength_requests.h"

#include <iostream>

#include "common/line.h"
#include "mox_wwan_test.pb.h"
#include "requests/envelope.h"
#include "requests/message_ids.h"
#include "thresholds/threshold_dialogs.h"

namespace cellscope {
namespace {

struct Question {
  const char* text;
  void (*fill)(mox_wwan_signal_threshold_info* entry);
};

constexpr Question questions[] = {
    {"GERAN Config: 1 to Enter : 0 to skip ", fillGeran},
    {"UTRAN Config: 1 to Enter : 0 to skip ", fillUtran},
    {"EUTRAN(type=RSRP) Config: 1 to Enter : 0 to skip ", fillEUtranRsrp},
    {"EUTRAN(type=RSRQ) Config: 1 to Enter : 0 to skip ", fillEUtranRsrq},
    {"EUTRAN(type=RSSNR) Config: 1 to Enter : 0 to skip ", fillEUtranRssnr},
    {"NGRAN(type=SSRSRP) Config: 1 to Enter : 0 to skip ", fillNrRsrp},
    {"NGRAN(type=SSRSRQ) Config: 1 to Enter : 0 to skip ", fillNrRsrq},
    {"NGRAN(type=SSSINR) Config: 1 to Enter : 0 to skip ", fillNrRssnr},
    {"CDMA2000 Config: 1 to Enter : 0 to skip ", fillCdma2000},
};

void ask_for_entries(mox_wwan_signal_strength_config& config) {
  // Set once: at the end of input an answer stays what the one before was.
  std::int32_t answer = 0;
  for (const Question& question : questions) {
    print_line(question.text);
    std::cin >> answer;
    if (answer == 1) question.fill(config.add_threshold_infos());
  }
}

void add_fixed_entry(mox_wwan_signal_strength_config& config, RadioAccessNetwork ran) {
  auto& entry = *config.add_threshold_infos();
  entry.set_ran(ran);
  entry.set_measurement_type(RSSI);
  entry.set_hysteresis_ms(0);
  entry.set_hysteresis_db(0);
  entry.set_enabled(true);
  for (const int threshold : {-115, -95, -85, -40}) entry.add_thresholds(threshold);
}

/// The diagnostic shows the raw payload as a C string would: up to its first zero byte.
const char* as_c_string(const std::string& payload) { return payload.c_str(); }

}  // namespace

void send_empty_sig_info(suid target, std::int32_t sub_id) {
  diagnostic("send_empty_sig_info", 1017, "sending empty config request");
  mox_wwan_signal_strength_config config;
  config.set_sub_id(sub_id);
  const std::string payload = config.SerializeAsString();
  diagnostic("send_empty_sig_info", 1022, "sending empty config request ", as_c_string(payload));
  send_request(target, MSGID_WWAN_SIGNAL_STRENGTH_CONFIG, payload, "send_empty_sig_info", 1039);
}

void send_all_ran_info(suid target, std::int32_t sub_id) {
  mox_wwan_signal_strength_config config;
  config.set_sub_id(sub_id);
  ask_for_entries(config);
  const std::string payload = config.SerializeAsString();
  diagnostic("send_all_ran_info", 1462, "sending all_ran config request ");
  send_request(target, MSGID_WWAN_SIGNAL_STRENGTH_CONFIG, payload, "send_all_ran_info", 1479);
}

void send_geran_sig_info(suid target, std::int32_t sub_id) {
  diagnostic("send_geran_sig_info", 1553, "sending geran config request");
  mox_wwan_signal_strength_config config;
  config.set_sub_id(sub_id);
  add_fixed_entry(config, GERAN);
  add_fixed_entry(config, CDMA2000);
  const std::string payload = config.SerializeAsString();
  diagnostic("send_geran_sig_info", 1580, "sending geran config request ", as_c_string(payload));
  send_request(target, MSGID_WWAN_SIGNAL_STRENGTH_CONFIG, payload, "send_geran_sig_info", 1597);
}

}  // namespace cellscope
