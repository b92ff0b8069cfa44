#include "hub/capture/mask.h"

#include <set>
#include <string_view>

#include "hub/messages/catalogue.h"

namespace kelvane_hub {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

void collect(const Descriptor& type, std::set<const Descriptor*>& known, std::vector<const FieldDescriptor*>& found) {
  if (!known.insert(&type).second) return;
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (is_identity(field)) found.push_back(&field);
    if (field.message_type() != nullptr) collect(*field.message_type(), known, found);
  }
}

}  // namespace

bool is_identity(const FieldDescriptor& field) {
  return std::string_view(field.containing_type()->name()).starts_with("mox_wwan_cell_identity_") &&
         !std::string_view(field.name()).ends_with("arfcn");
}

std::vector<const FieldDescriptor*> identities() {
  std::set<const Descriptor*> known;
  std::vector<const FieldDescriptor*> found;
  for (const auto kinds : {request_kinds(), event_kinds()}) {
    for (const MessageKind& kind : kinds) {
      if (kind.payload != nullptr) collect(*kind.payload()->GetDescriptor(), known, found);
    }
  }
  return found;
}

std::string Mask::masked(const FieldDescriptor& field, const std::string& value) {
  auto& seen = seen_[std::string(field.name())];
  return "*" + std::to_string(seen.try_emplace(value, seen.size() + 1).first->second);
}

}  // namespace kelvane_hub
