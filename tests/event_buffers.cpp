#include "tests/event_buffers.h"

#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"

namespace cellscope::test {
namespace {

/// Calls each setter of `message` with a value of its own.
template <class Message, class... Values>
void set_all(Message& message, std::int32_t first, void (Message::*... setters)(Values)) {
  std::int32_t value = first;
  ((message.*setters)(static_cast<Values>(value += 3)), ...);
}

void fill_gsm(mox_wwan_cell_info_gsm& cell) {
  using Identity = mox_wwan_cell_identity_gsm;
  using Signal = mox_wwan_signal_strength_gsm;
  set_all(*cell.mutable_cell_identity(), 300, &Identity::set_mcc, &Identity::set_mnc, &Identity::set_lac,
          &Identity::set_cid, &Identity::set_arfcn, &Identity::set_bsic);
  set_all(*cell.mutable_signal_strength(), -90, &Signal::set_signal_strength, &Signal::set_bit_error_rate,
          &Signal::set_timing_advance);
}

void fill_cdma(mox_wwan_cell_info_cdma& cell) {
  using Identity = mox_wwan_cell_identity_cdma;
  using Evdo = mox_wwan_signal_strength_evdo;
  set_all(*cell.mutable_cell_identity(), 300, &Identity::set_network_id, &Identity::set_system_id,
          &Identity::set_base_station_id, &Identity::set_longitude, &Identity::set_latitude);
  set_all(*cell.mutable_signal_strength(), -90, &mox_wwan_signal_strength_cdma::set_dbm,
          &mox_wwan_signal_strength_cdma::set_ecio);
  set_all(*cell.mutable_signal_strength_evdo(), -80, &Evdo::set_dbm, &Evdo::set_ecio, &Evdo::set_snr);
}

void fill_lte(mox_wwan_cell_info_lte& cell) {
  using Identity = mox_wwan_cell_identity_lte;
  using Signal = mox_wwan_signal_strength_lte;
  set_all(*cell.mutable_cell_identity(), 300, &Identity::set_mcc, &Identity::set_mnc, &Identity::set_ci,
          &Identity::set_pci, &Identity::set_tac, &Identity::set_earfcn);
  set_all(*cell.mutable_signal_strength(), -100, &Signal::set_signal_strength, &Signal::set_rsrp, &Signal::set_rsrq,
          &Signal::set_rssnr, &Signal::set_cqi, &Signal::set_timing_advance);
}

void fill_wcdma(mox_wwan_cell_info_wcdma& cell) {
  using Identity = mox_wwan_cell_identity_wcdma;
  using Signal = mox_wwan_signal_strength_wcdma;
  set_all(*cell.mutable_cell_identity(), 300, &Identity::set_mcc, &Identity::set_mnc, &Identity::set_lac,
          &Identity::set_cid, &Identity::set_psc, &Identity::set_uarfcn);
  set_all(*cell.mutable_signal_strength(), -100, &Signal::set_signal_strength, &Signal::set_bit_error_rate,
          &Signal::set_rscp, &Signal::set_ecno);
}

void fill_tdscdma(mox_wwan_cell_info_tdscdma& cell) {
  using Identity = mox_wwan_cell_identity_tdscdma;
  using Signal = mox_wwan_signal_strength_tdscdma;
  set_all(*cell.mutable_cell_identity(), 300, &Identity::set_mcc, &Identity::set_mnc, &Identity::set_lac,
          &Identity::set_cid, &Identity::set_cpid, &Identity::set_uarfcn);
  set_all(*cell.mutable_signal_strength(), -100, &Signal::set_signal_strength, &Signal::set_bit_error_rate,
          &Signal::set_rscp);
}

void fill_nr(mox_wwan_cell_info_nr& cell) {
  using Identity = mox_wwan_cell_identity_nr;
  using Signal = mox_wwan_signal_strength_nr;
  set_all(*cell.mutable_cell_identity(), 300, &Identity::set_mcc, &Identity::set_mnc, &Identity::set_ci,
          &Identity::set_pci, &Identity::set_tac, &Identity::set_earfcn);
  set_all(*cell.mutable_signal_strength(), -100, &Signal::set_rsrp, &Signal::set_rsrq, &Signal::set_rssnr,
          &Signal::set_cqi);
}

void fill(mox_wwan_cell_info& cell, int cell_type) {
  cell.set_timestamp(1'000'000'000);
  cell.set_timestamp_type(1);
  cell.set_registered(cell_type == 1);
  cell.set_cell_type(cell_type);
  switch (cell_type) {
    case 1:
      return fill_gsm(*cell.mutable_gsm());
    case 2:
      return fill_cdma(*cell.mutable_cdma());
    case 3:
      return fill_lte(*cell.mutable_lte());
    case 4:
      return fill_wcdma(*cell.mutable_wcdma());
    case 5:
      return fill_tdscdma(*cell.mutable_tdscdma());
    default:
      return fill_nr(*cell.mutable_nr());
  }
}

std::string buffer_of(std::uint32_t msg_id, const std::string& payload) {
  sns_client_event_msg message;
  auto& event = *message.add_events();
  event.set_msg_id(msg_id);
  event.set_timestamp(1'000'000'000);
  event.set_payload(payload);
  return message.SerializeAsString();
}

}  // namespace

std::string attribute_event(int attributes) {
  sns_std_attr_event event;
  for (int id = 0; id < attributes; ++id) {
    auto& attribute = *event.add_attributes();
    attribute.set_attr_id(id);
    attribute.mutable_value()->add_values()->set_integer(1);
  }
  return buffer_of(128, event.SerializeAsString());
}

std::string cell_event(int cells) {
  mox_wwan_event_serving_neighboring_cell_info info;
  for (int i = 0; i < cells; ++i) fill(*info.add_cells(), i % 6 + 1);
  info.set_sub(0);
  return buffer_of(1281, info.SerializeAsString());
}

}  // namespace cellscope::test
