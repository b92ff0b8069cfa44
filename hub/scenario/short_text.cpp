#include "hub/scenario/short_text.h"

#include <google/protobuf/text_format.h>

#include "hub/scenario/mistakes.h"
#include "hub/scenario/scenario_reader.h"

namespace kelvane_hub {

std::string short_text(const google::protobuf::Message& message) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::string text;
  printer.PrintToString(message, &text);
  if (text.ends_with(' ')) text.pop_back();
  return text;
}

void parse_short_text(const std::string& text, const std::string& name, google::protobuf::Message& message) {
  Mistakes mistakes(name);
  google::protobuf::TextFormat::Parser parser;
  parser.SetRecursionLimit(deepest_nesting);
  parser.RecordErrorsTo(&mistakes);
  (void)parser.ParseFromString(text, &message);
  mistakes.throw_if_any();
}

}  // namespace kelvane_hub
