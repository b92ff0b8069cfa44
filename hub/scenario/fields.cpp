#include "hub/scenario/fields.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string_view>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"

namespace kelvane_hub {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

struct Place {
  std::string path;
  std::vector<const FieldDescriptor*> way;  // the last one is the field
};

/// Takes what is wrong, and keeps it from standard error.
class Silence final : public google::protobuf::io::ErrorCollector {
  void AddError(int, google::protobuf::io::ColumnNumber, const std::string&) override {}
};

bool is_excluded(const Message* message, const FieldDescriptor& field) {
  return field.real_containing_oneof() != nullptr &&
         (message == nullptr || !message->GetReflection()->HasField(*message, &field));
}

/// `message` is null where it is absent.
void collect(const Descriptor& type, const Message* message, const Place& above, std::vector<Place>& places) {
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (field.is_repeated() || is_excluded(message, field)) continue;
    Place place{concat(above.path, above.path.empty() ? "" : ".", field.name()), above.way};
    place.way.push_back(&field);
    if (field.message_type() == nullptr) {
      places.push_back(std::move(place));
    } else {
      const bool is_there = message != nullptr && message->GetReflection()->HasField(*message, &field);
      const Message* const inner = is_there ? &message->GetReflection()->GetMessage(*message, &field) : nullptr;
      collect(*field.message_type(), inner, place, places);
    }
  }
}

std::vector<Place> places_in(const Message& message) {
  std::vector<Place> places;
  collect(*message.GetDescriptor(), &message, {}, places);
  return places;
}

bool is_named(const Place& place, std::string_view name) {
  return place.path == name || place.path.ends_with(concat(".", name));
}

std::string short_name(const Place& place, const std::vector<Place>& places) {
  std::string name;
  for (auto field = place.way.rbegin(); field != place.way.rend(); ++field) {
    name = concat((*field)->name(), name.empty() ? "" : ".", name);
    if (std::ranges::count_if(places, [&name](const Place& other) { return is_named(other, name); }) == 1) break;
  }
  return name;
}

std::vector<std::string> short_names(const std::vector<Place>& places, std::string_view like) {
  std::vector<std::string> names;
  for (const Place& place : places) {
    if (like.empty() || is_named(place, like)) names.push_back(short_name(place, places));
  }
  return names;
}

template <class Number>
std::string range() {
  return concat("a number from ", std::numeric_limits<Number>::min(), " to ", std::numeric_limits<Number>::max());
}

std::string what_it_takes(const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return range<std::int32_t>();
    case FieldDescriptor::CPPTYPE_UINT32:
      return range<std::uint32_t>();
    case FieldDescriptor::CPPTYPE_INT64:
      return range<std::int64_t>();
    case FieldDescriptor::CPPTYPE_UINT64:
      return range<std::uint64_t>();
    case FieldDescriptor::CPPTYPE_BOOL:
      return "true or false";
    default:
      return concat("a value of type ", field.cpp_type_name());
  }
}

const Place& find(const std::vector<Place>& places, const std::string& name) {
  const auto is_meant = [&name](const Place& place) { return is_named(place, name); };
  const auto found = std::ranges::find_if(places, is_meant);
  const auto count = std::ranges::count_if(places, is_meant);
  if (count == 1) return *found;
  // A path as a whole means itself, even if it is the end of another one.
  const auto whole = std::ranges::find(places, name, &Place::path);
  if (whole != places.end()) return *whole;
  throw InputError(
      concat("expected ", alternatives(short_names(places, count == 0 ? "" : name)), ", found ", quoted(name)));
}

/// From the lowest on, below `beyond`: each is a power of two or 0, which a double holds exactly.
struct NumberRange {
  double lowest;
  double beyond;
};

template <class Number>
NumberRange numbers() {
  return {static_cast<double>(std::numeric_limits<Number>::min()),
          std::ldexp(1.0, std::numeric_limits<Number>::digits)};
}

std::optional<NumberRange> range_of(const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return numbers<std::int32_t>();
    case FieldDescriptor::CPPTYPE_UINT32:
      return numbers<std::uint32_t>();
    case FieldDescriptor::CPPTYPE_INT64:
      return numbers<std::int64_t>();
    case FieldDescriptor::CPPTYPE_UINT64:
      return numbers<std::uint64_t>();
    default:
      return {};
  }
}

}  // namespace

std::vector<std::string> fields_of(const Message& message) { return short_names(places_in(message), ""); }

void set_field(Message& message, const std::string& name, const std::string& value) {
  const auto places = places_in(message);
  const Place& place = find(places, name);
  const FieldDescriptor& field = *place.way.back();
  const std::unique_ptr<Message> changed(message.New());
  changed->CopyFrom(message);
  Message* holder = changed.get();
  for (auto step = place.way.begin(); step + 1 != place.way.end(); ++step) {
    holder = holder->GetReflection()->MutableMessage(holder, *step);
  }
  holder->GetReflection()->ClearField(holder, &field);
  Silence silence;
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&silence);
  if (!value.empty() && !parser.ParseFieldValueFromString(value, &field, holder)) {
    throw InputError(concat(name, ": expected ", what_it_takes(field), ", or nothing, found ", quoted(value)));
  }
  message.GetReflection()->Swap(&message, changed.get());
}

NumberField NumberField::find(const Message& message, const std::string& name) {
  const auto places = places_in(message);
  const Place& place = kelvane_hub::find(places, name);
  if (range_of(*place.way.back())) return NumberField(place.way);
  throw InputError(concat("expected a field with a number, found ", name, ", which takes ",
                          kelvane_hub::what_it_takes(*place.way.back())));
}

bool NumberField::fits(const Message& message) const {
  const Message* holder = &message;
  for (const FieldDescriptor* const field : way_) {
    if (is_excluded(holder, *field)) return false;
    if (field == way_.back()) break;
    holder = &holder->GetReflection()->GetMessage(*holder, field);  // as by default if it is absent
  }
  return true;
}

std::optional<double> NumberField::read(const Message& message) const {
  const Message* holder = &message;
  for (auto step = way_.begin(); step + 1 != way_.end(); ++step) {
    holder = &holder->GetReflection()->GetMessage(*holder, *step);
  }
  const FieldDescriptor& field = *way_.back();
  const auto& reflection = *holder->GetReflection();
  if (!reflection.HasField(*holder, &field)) return {};
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.GetInt32(*holder, &field);
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.GetUInt32(*holder, &field);
    case FieldDescriptor::CPPTYPE_INT64:
      return static_cast<double>(reflection.GetInt64(*holder, &field));
    default:
      return static_cast<double>(reflection.GetUInt64(*holder, &field));
  }
}

bool NumberField::holds(double value) const {
  const NumberRange range = *range_of(*way_.back());
  const double whole = std::round(value);
  return whole >= range.lowest && whole < range.beyond;
}

void NumberField::write(Message& message, double value) const {
  const FieldDescriptor& field = *way_.back();
  const NumberRange range = *range_of(field);
  const double whole = std::clamp(std::round(value), range.lowest, std::nextafter(range.beyond, 0));
  Message* holder = &message;
  for (auto step = way_.begin(); step + 1 != way_.end(); ++step) {
    holder = holder->GetReflection()->MutableMessage(holder, *step);
  }
  const auto& reflection = *holder->GetReflection();
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.SetInt32(holder, &field, static_cast<std::int32_t>(whole));
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.SetUInt32(holder, &field, static_cast<std::uint32_t>(whole));
    case FieldDescriptor::CPPTYPE_INT64:
      return reflection.SetInt64(holder, &field, static_cast<std::int64_t>(whole));
    default:
      return reflection.SetUInt64(holder, &field, static_cast<std::uint64_t>(whole));
  }
}

bool NumberField::is_called(const std::string& name) const {
  std::string path;
  for (const FieldDescriptor* const field : way_) path += "." + field->name();
  return path.ends_with("." + name);
}

std::string NumberField::what_it_takes() const { return kelvane_hub::what_it_takes(*way_.back()); }

}  // namespace kelvane_hub
