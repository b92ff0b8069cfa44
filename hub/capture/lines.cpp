#include "hub/capture/lines.h"

#include <array>
#include <cstdio>

#include "hub/base/concat.h"
#include "hub/base/hex.h"
#include "hub/capture/json.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::TextFormat;
using Json = nlohmann::ordered_json;

/// Prints the name that a mask gives to an identity's value.
class MaskedValue final : public TextFormat::FastFieldValuePrinter {
 public:
  MaskedValue(const FieldDescriptor& field, Mask& mask) : field_(field), mask_(mask) {}

  void PrintInt32(google::protobuf::int32 value, TextFormat::BaseTextGenerator* out) const override {
    print(value, out);
  }
  void PrintUInt32(google::protobuf::uint32 value, TextFormat::BaseTextGenerator* out) const override {
    print(value, out);
  }
  void PrintInt64(google::protobuf::int64 value, TextFormat::BaseTextGenerator* out) const override {
    print(value, out);
  }
  void PrintUInt64(google::protobuf::uint64 value, TextFormat::BaseTextGenerator* out) const override {
    print(value, out);
  }
  void PrintString(const std::string& value, TextFormat::BaseTextGenerator* out) const override { print(value, out); }

 private:
  template <class Value>
  void print(const Value& value, TextFormat::BaseTextGenerator* out) const {
    out->PrintString(mask_.masked(field_, concat(value)));
  }

  const FieldDescriptor& field_;
  Mask& mask_;
};

/// Seconds, with a point before the nanoseconds.
std::string shown_time(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  std::array<char, 48> text{};
  (void)std::snprintf(text.data(), text.size(), "%lld.%09lld", static_cast<long long>(seconds.count()),
                      static_cast<long long>((time - seconds).count()));
  return text.data();
}

/// The higher half first.
std::string shown_suid(suid sensor) {
  std::array<char, 40> text{};
  (void)std::snprintf(text.data(), text.size(), "%016llx%016llx", static_cast<unsigned long long>(sensor.suid_high),
                      static_cast<unsigned long long>(sensor.suid_low));
  return text.data();
}

}  // namespace

Lines::Lines(const View& view) : view_(view), filter_(view.filter) {
  printer_.SetSingleLineMode(true);
  printer_.SetHideUnknownFields(view_.masks);
  if (!view_.masks) return;
  for (const FieldDescriptor* const field : identities()) {
    printer_.RegisterFieldValuePrinter(field, new MaskedValue(*field, mask_));
  }
}

std::string Lines::of(const CaptureRecord& record) {
  std::string lines;
  for (const Spoken& spoken : spoken_in(record)) {
    if (!filter_.passes(spoken)) continue;
    lines += (view_.format == "json" ? json_of(spoken) : text_of(spoken)) + "\n";
  }
  return lines;
}

std::string Lines::hex_of(const std::string& bytes) const {
  return view_.masks ? concat("*", bytes.size(), " bytes") : in_hex(bytes);
}

std::string Lines::text_of(const Spoken& spoken) {
  const CaptureRecord& record = *spoken.record;
  std::string line = concat("(", shown_time(record.time), ") ", record.session, " ", name_of(record.direction), " ");
  if (spoken.msg_id) line += concat(*spoken.msg_id, " ");
  line += name_of(spoken);
  if (!spoken.fields) return spoken.payload.empty() ? line : concat(line, " hex: ", hex_of(spoken.payload));
  std::string fields;
  (void)printer_.PrintToString(*spoken.fields, &fields);
  while (fields.ends_with(' ')) fields.pop_back();
  return fields.empty() ? line : concat(line, " ", fields);
}

std::string Lines::json_of(const Spoken& spoken) {
  const CaptureRecord& record = *spoken.record;
  Mask* const mask = view_.masks ? &mask_ : nullptr;
  Json line{{"time", shown_time(record.time)},
            {"session", record.session},
            {"direction", name_of(record.direction)},
            {"sensor", shown_suid(record.sensor)}};
  if (spoken.msg_id) line["msg_id"] = *spoken.msg_id;
  line["name"] = name_of(spoken);
  if (spoken.envelope) line["envelope"] = kelvane_hub::json_of(*spoken.envelope, mask);
  if (spoken.fields) line["fields"] = kelvane_hub::json_of(*spoken.fields, mask);
  if (!spoken.fields && !spoken.payload.empty()) line["hex"] = hex_of(spoken.payload);
  return line.dump();
}

}  // namespace kelvane_hub
