#include "requests/envelope.h"

#include <utility>

#include "common/line.h"
#include "common/state.h"
#include "kelvane_api.pb.h"
#include "requests/set_enumeration.h"

namespace cellscope {

std::string make_envelope(suid target, std::uint32_t msg_id, std::optional<std::string> payload) {
  sns_client_request_msg envelope;
  envelope.set_msg_id(msg_id);
  sns_std_request& body = *envelope.mutable_request();
  if (payload) body.set_payload(*std::move(payload));
  envelope.mutable_suid()->set_suid_high(target.suid_high);
  envelope.mutable_suid()->set_suid_low(target.suid_low);
  using suspend_config = sns_client_request_msg_suspend_config;
  set_enumeration(*envelope.mutable_susp_config(), &suspend_config::set_processor_type, 0);
  set_enumeration(*envelope.mutable_susp_config(), &suspend_config::set_delivery_type, 1);
  set_enumeration(envelope, &sns_client_request_msg::set_client_type, 5);
  std::string serialized;
  (void)envelope.SerializeToString(&serialized);
  return serialized;
}

void send_request(suid target, std::uint32_t msg_id, std::optional<std::string> payload, std::string_view function,
                  int error_line) {
  const std::string envelope = make_envelope(target, msg_id, std::move(payload));
  if (!session || session->send_request(target, envelope) != 0) {
    diagnostic(function, error_line, "Error in sending request");
  }
}

}  // namespace cellscope
