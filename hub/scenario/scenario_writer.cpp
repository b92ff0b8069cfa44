// A scenario as text.

#include <google/protobuf/text_format.h>

#include <string>
#include <vector>

#include "hub/scenario/scenario_file.h"

namespace kelvane_hub {

// Each value of each field on a line of its own.
std::string text_of(const scenario& written) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::vector<const google::protobuf::FieldDescriptor*> fields_set;
  scenario::GetReflection()->ListFields(written, &fields_set);
  std::string text;
  std::string value;
  for (const auto* const field : fields_set) {
    const int count = field->is_repeated() ? scenario::GetReflection()->FieldSize(written, field) : 1;
    for (int i = 0; i < count; ++i) {
      printer.PrintFieldValueToString(written, field, field->is_repeated() ? i : -1, &value);
      text += field->name() + (field->message_type() == nullptr ? ": " + value : " { " + value + "}") + '\n';
    }
  }
  return text;
}

}  // namespace kelvane_hub
