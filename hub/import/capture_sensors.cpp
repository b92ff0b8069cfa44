#include "hub/import/capture_sensors.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/scenario_file.h"
#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

// An error event that comes later is about something else.
constexpr std::chrono::seconds longest_answer(1);

using SensorKey = std::pair<std::uint64_t, std::uint64_t>;

SensorKey key_of(suid sensor) { return {sensor.suid_low, sensor.suid_high}; }

bool is_lookup(const SensorKey& sensor) {
  const sns_suid_sensor lookup;
  return sensor == SensorKey(lookup.suid_low(), lookup.suid_high());
}

std::uint32_t request_in(const CaptureRecord& record) {
  sns_client_request_msg request;
  const bool is_request = record.direction == Direction::request && request.ParseFromString(record.message);
  return is_request ? request.msg_id() : 0;
}

// ---- refusals ----

struct Refused {
  SensorKey sensor;
  std::size_t asked;  // the request's record
  RunRefusal told;
};

/// The errors that come right after requests, each with the first of these that nothing has answered yet.
class RefusalWalk {
 public:
  void add(const CaptureRecord& record, std::size_t place) {
    const SensorKey sensor = key_of(record.sensor);
    auto& asked = asked_[{record.session, sensor}];
    if (record.direction == Direction::request) {
      sns_client_request_msg request;
      if (request.ParseFromString(record.message)) asked.push_back({record.time, request.msg_id(), place});
      return;
    }
    sns_client_event_msg delivery;
    (void)delivery.ParseFromString(record.message);
    for (const auto& event : delivery.events()) {
      const bool is_error =
          event.msg_id() == error_event && !asked.empty() && record.time - asked.front().time <= longest_answer;
      if (is_error) add_error(event.payload(), sensor, place, asked);
      if (!is_error) carry_out(asked, sensor);
    }
  }

  /// Those of requests that the sensor has never carried out.
  std::vector<Refused> take() {
    for (auto& [who, asked] : asked_) carry_out(asked, who.second);
    std::erase_if(refused_, [this](const Refused& told) {
      return carried_out_.contains({told.sensor, told.told.msg_id});
    });
    return std::move(refused_);
  }

 private:
  struct Asked {
    std::chrono::nanoseconds time;
    std::uint32_t msg_id;
    std::size_t place;
  };

  void add_error(const std::string& payload, const SensorKey& sensor, std::size_t place, std::vector<Asked>& asked) {
    sns_std_error_event error;
    (void)error.ParseFromString(payload);
    const Asked request = asked.front();
    asked.erase(asked.begin());
    refused_.push_back({sensor, request.place, {RunNote::Kind::error, {}, request.msg_id, error.error(), place}});
  }

  void carry_out(std::vector<Asked>& asked, const SensorKey& sensor) {
    for (const Asked& request : asked) carried_out_.insert({sensor, request.msg_id});
    asked.clear();
  }

  std::map<std::pair<std::uint32_t, SensorKey>, std::vector<Asked>> asked_;
  std::set<std::pair<SensorKey, std::uint32_t>> carried_out_;
  std::vector<Refused> refused_;
};

std::vector<Refused> all_refused(const Capture& capture) {
  RefusalWalk walk;
  for (std::size_t i = 0; i < capture.records.size(); ++i) walk.add(capture.records[i], i + 1);
  return walk.take();
}

// ---- sensors ----

class SensorWalk {
 public:
  void add(const CaptureRecord& record) {
    if (record.direction != Direction::event) return;
    const SensorKey teller = key_of(record.sensor);
    sns_client_event_msg delivery;
    (void)delivery.ParseFromString(record.message);
    for (const auto& event : delivery.events()) {
      if (event.msg_id() == lookup_event && is_lookup(teller)) add_found(event.payload());
      if (event.msg_id() == attribute_event) add_attributes(teller, event.payload());
    }
  }

  /// That which is configured so is there, too.
  void add_configured(const CaptureRecord& record) {
    const SensorKey sensor = key_of(record.sensor);
    const bool streams = request_in(record) == streaming_config;
    if (!find(sensor)) {
      const char* const data_type = streams ? "wwan_stream" : "wwan";
      name(sensor, data_type);
      remarks_.push_back(concat("no lookup has found the sensor that is configured, which is called ", data_type));
    }
    if (!attributes_[sensor].empty()) return;
    sns_std_attr& type = *attributes_[sensor].Add();
    type.set_attr_id(stream_type_attribute);
    type.mutable_value()->add_values()->set_integer(streams ? 0 : 1);
  }

  CaptureSensors take() {
    for (auto& sensor : sensors_) {
      *sensor.mutable_attributes() = attributes_[{sensor.suid().suid_low(), sensor.suid().suid_high()}];
    }
    return {std::move(sensors_), std::move(remarks_)};
  }

 private:
  void add_found(const std::string& payload) {
    sns_suid_event found;
    (void)found.ParseFromString(payload);
    for (const auto& id : found.suids()) {
      const SensorKey sensor(id.suid_low(), id.suid_high());
      if (found.data_type().empty() || is_lookup(sensor)) continue;
      const scenario_sensor* const known = find(sensor);
      if (known == nullptr) {
        name(sensor, found.data_type());
      } else if (known->data_type() != found.data_type()) {
        remarks_.push_back(concat("a sensor is found for ", kelvane_hub::quoted(known->data_type()), " and for ",
                                  kelvane_hub::quoted(found.data_type()), ", of which the scenario has the first"));
      }
    }
  }

  /// The last that it has told.
  void add_attributes(const SensorKey& teller, const std::string& payload) {
    sns_std_attr_event told;
    (void)told.ParseFromString(payload);
    told.DiscardUnknownFields();
    attributes_[teller] = told.attributes();
  }

  const scenario_sensor* find(const SensorKey& sensor) const {
    const auto found = std::ranges::find_if(sensors_, [&](const scenario_sensor& known) {
      return SensorKey(known.suid().suid_low(), known.suid().suid_high()) == sensor;
    });
    return found == sensors_.end() ? nullptr : &*found;
  }

  void name(const SensorKey& sensor, const std::string& data_type) {
    scenario_sensor& added = *sensors_.Add();
    added.set_data_type(data_type);
    added.mutable_suid()->set_suid_low(sensor.first);
    added.mutable_suid()->set_suid_high(sensor.second);
  }

  Sensors sensors_;
  std::map<SensorKey, google::protobuf::RepeatedPtrField<sns_std_attr>> attributes_;
  std::vector<std::string> remarks_;
};

/// Takes away the attributes that no scenario can have: those of some hubs may be of any depth.
void check(CaptureSensors& found) {
  for (auto& sensor : found.sensors) {
    scenario alone;
    *alone.add_sensors() = sensor;
    try {
      (void)parse_scenario(text_of(alone), "");
    } catch (const InputError&) {
      sensor.clear_attributes();
      found.remarks.push_back(
          concat("the attributes of ", kelvane_hub::quoted(sensor.data_type()), " are none that a scenario can have"));
    }
  }
}

/// A request that makes a sensor tell.
bool configures(const CaptureRecord& record) {
  const std::uint32_t id = request_in(record);
  return !is_lookup(key_of(record.sensor)) && (id == on_change_config || id == streaming_config);
}

}  // namespace

std::vector<std::uint32_t> configuring_sessions(const Capture& capture) {
  std::set<std::size_t> refused;  // records
  for (const Refused& told : all_refused(capture)) refused.insert(told.asked);
  std::vector<std::uint32_t> sessions;
  std::vector<std::uint32_t> in_vain;
  for (std::size_t i = 0; i < capture.records.size(); ++i) {
    if (!configures(capture.records[i])) continue;
    auto& list = refused.contains(i + 1) ? in_vain : sessions;
    const std::uint32_t session = capture.records[i].session;
    if (std::ranges::find(list, session) == list.end()) list.push_back(session);
  }
  return sessions.empty() ? in_vain : sessions;
}

CaptureSensors sensors_in(const Capture& capture, std::uint32_t session) {
  SensorWalk walk;
  for (const CaptureRecord& record : capture.records) walk.add(record);
  for (const CaptureRecord& record : capture.records) {
    if (record.session == session && configures(record)) walk.add_configured(record);
  }
  CaptureSensors found = walk.take();
  for (const Refused& refused : all_refused(capture)) {
    for (auto& sensor : found.sensors) {
      const SensorKey key(sensor.suid().suid_low(), sensor.suid().suid_high());
      if (key == refused.sensor) add_refusal(sensor, refused.told);
    }
  }
  check(found);
  return found;
}

std::vector<RunRefusal> refusals_in(const Capture& capture, std::uint32_t session, Conduct& conduct) {
  std::vector<RunRefusal> refusals;
  for (Refused& refused : all_refused(capture)) {
    const CaptureRecord& asked = capture.records[refused.asked - 1];
    if (asked.session != session) continue;
    sns_client_request_msg request;
    mox_wwan_sensor_config wanted;
    (void)request.ParseFromString(asked.message);
    if (refused.told.msg_id == report_registration) {
      (void)wanted.ParseFromString(request.request().payload());
      refused.told.asked = wanted.report_voice_calls() ? RunNote::Kind::voice_calls : RunNote::Kind::rrc_states;
      conduct.has_asked_for_calls = conduct.has_asked_for_rrc_states = false;
    } else if (refused.told.msg_id == cell_location_query) {
      refused.told.asked = RunNote::Kind::cell_location;
      conduct.has_asked_for_location = false;
    }
    refusals.push_back(refused.told);
  }
  return refusals;
}

}  // namespace kelvane_hub
