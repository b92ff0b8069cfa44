#include "hub/report/payload_truth.h"

#include <algorithm>

#include "hub/messages/reflection.h"
#include "hub/report/report_form.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

/// Whether both have the same value, the default where it is absent.
bool same_value(const Message& a, const Message& b, const FieldDescriptor& field) {
  const auto same = [&](auto get) {
    return (a.GetReflection()->*get)(a, &field) == (b.GetReflection()->*get)(b, &field);
  };
  using google::protobuf::Reflection;
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return same(&Reflection::GetInt32);
    case FieldDescriptor::CPPTYPE_UINT32:
      return same(&Reflection::GetUInt32);
    case FieldDescriptor::CPPTYPE_UINT64:
      return same(&Reflection::GetUInt64);
    case FieldDescriptor::CPPTYPE_BOOL:
      return same(&Reflection::GetBool);
    default:
      return false;
  }
}

bool same_values(const Message& a, const Message& b, std::span<const PrintedField> fields) {
  return std::ranges::all_of(fields, [&](const PrintedField& printed) {
    return same_value(a, b, field_of(*a.GetDescriptor(), printed.name));
  });
}

bool same_values(const Message& a, const Message& b) { return same_values(a, b, printed_fields(*a.GetDescriptor())); }

bool prints_same(const mox_wwan_cell_info& a, const mox_wwan_cell_info& b) {
  if (!same_values(a, b)) return false;
  const Technology* const technology = find_technology(a.cell_type());
  return technology == nullptr || std::ranges::all_of(technology->parts, [&](const PrintedPart& part) {
           return same_values(part_of(a, *technology, part.name), part_of(b, *technology, part.name), part.fields);
         });
}

/// Of a report and of a cell location, both of which are lists of `cells`.
template <class Payload>
bool prints_same(const Payload& a, const Payload& b) {
  return same_values(a, b) && std::ranges::equal(a.cells(), b.cells(), [](const auto& one, const auto& other) {
           return prints_same(one, other);
         });
}

/// What the bytes hold; null if they are not what `printed` was printed from.
template <class Payload>
std::unique_ptr<Message> decode(const std::string& bytes, const Payload& printed) {
  auto decoded = std::make_unique<Payload>();
  if (!decoded->ParseFromString(bytes) || !prints_same(printed, *decoded)) return nullptr;
  // A number that our definitions do not have: then others of them need not mean what they do here.
  decoded->DiscardUnknownFields();
  if (decoded->ByteSizeLong() != bytes.size()) return nullptr;
  return decoded;
}

std::unique_ptr<Message> decode(const RunEvent& event) {
  if (const auto* const cells = payload_of<mox_wwan_event_serving_neighboring_cell_info>(event)) {
    return decode(*event.payload, *cells);
  }
  const auto* const locations = payload_of<mox_wwan_get_cell_location_info_response>(event);
  return locations == nullptr ? nullptr : decode(*event.payload, *locations);
}

}  // namespace

Oddity believe_payloads(Run& run) {
  Oddity others;
  for (RunEvent& event : run.events) {
    if (!event.payload) continue;
    if (auto decoded = decode(event)) {
      event.message = std::move(decoded);
    } else {
      others.add(event.line, std::string(event.kind->name));
    }
  }
  return others;
}

bool has_its_bytes(const RunEvent& event) { return event.message->SerializeAsString() == event.payload; }

}  // namespace kelvane_hub
