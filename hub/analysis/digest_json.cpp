#include "hub/analysis/digest_json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "hub/messages/reflection.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using Json = nlohmann::ordered_json;

/// To the microsecond: what lies below that is of no clock, but of adding up.
double rounded(double seconds) { return std::round(seconds * 1e6) / 1e6; }

/// The fields of an identity that are there; null without one.
Json object_of(const Message* identity) {
  if (identity == nullptr) return {};
  Json object = Json::object();
  std::vector<const FieldDescriptor*> fields;
  identity->GetReflection()->ListFields(*identity, &fields);
  for (const FieldDescriptor* const field : fields) {
    const auto& reflection = *identity->GetReflection();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_UINT64:
        object[field->name()] = reflection.GetUInt64(*identity, field);
        break;
      case FieldDescriptor::CPPTYPE_UINT32:
        object[field->name()] = reflection.GetUInt32(*identity, field);
        break;
      default:
        object[field->name()] = reflection.GetInt32(*identity, field);
    }
  }
  return object;
}

Json object_of(const CellTime& cell) {
  return {{"technology", cell.technology->name},
          {"cell_identity", object_of(find_part(cell.cell, *cell.technology, identity_part))},
          {"seconds", rounded(cell.seconds)},
          {"visits", cell.visits}};
}

Json object_of(const Outage& outage) {
  return {{"begin", rounded(outage.begin.seconds)},       {"earliest_begin", rounded(outage.begin.earliest)},
          {"latest_begin", rounded(outage.begin.latest)}, {"end", rounded(outage.end)},
          {"seconds", rounded(outage.seconds())},         {"goes_on", outage.goes_on}};
}

Json object_of(const Call& call) {
  return {{"call_id", call.id},       {"begin", rounded(call.begin)},
          {"end", rounded(call.end)}, {"seconds", rounded(call.seconds())},
          {"goes_on", call.goes_on},  {"states", call.states}};
}

Json object_of(const Statistic& of) {
  return {{"technology", find_technology(of.quantity->cell_type)->name},
          {"part", of.quantity->part},
          {"field", of.quantity->field},
          {"name", of.quantity->name},
          {"unit", of.quantity->unit_name},
          {"count", of.count},
          {"min", rounded(of.lowest)},
          {"p5", rounded(of.percentile_5)},
          {"p50", rounded(of.median)},
          {"p95", rounded(of.percentile_95)},
          {"max", rounded(of.highest)}};
}

Json object_of(const SubscriptionDigest& subscription);

template <class Elements>
Json array_of(const Elements& elements) {
  Json array = Json::array();
  for (const auto& element : elements) array.push_back(object_of(element));
  return array;
}

Json object_of(const SubscriptionDigest& subscription) {
  Json technologies = Json::object();
  for (const auto& [type, time] : subscription.technologies) technologies[find_technology(type)->name] = rounded(time);
  Json rrc = Json::object();
  for (const auto& [field, times] : subscription.rrc_times) {
    for (const auto& [state, time] : times) rrc[field][std::to_string(state)] = rounded(time);
  }
  return {{"sub", subscription.sub},
          {"technologies", technologies},
          {"without_service", rounded(subscription.out)},
          {"unknown_technology", rounded(subscription.unknown_technology)},
          {"before_cells", rounded(subscription.before_cells)},
          {"cells", array_of(subscription.cells)},
          {"cell_changes", subscription.cell_changes},
          {"technology_changes", subscription.technology_changes},
          {"ping_pongs", subscription.ping_pongs},
          {"outages", array_of(subscription.outages)},
          {"measurements", array_of(subscription.statistics)},
          {"calls", array_of(subscription.calls)},
          {"rrc_states", rrc}};
}

}  // namespace

std::string json_of(const EvaluatedFile& file, const Digest& digest) {
  const Json object{
      {"file", file.name},
      {"kind", name_of(file.kind)},
      {"clock", digest.extent.clock},
      {"seconds", rounded(digest.extent.end)},
      {"reports", digest.reports},
      {"undated", digest.undated},
      {"longest_silence", {{"begin", rounded(digest.silence.begin)}, {"seconds", rounded(digest.silence.seconds)}}},
      {"subscriptions", array_of(digest.subscriptions)}};
  // Names of files may be of any bytes.
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace kelvane_hub
