// Fields of messages as a person names and sets them.
#pragma once

#include <google/protobuf/message.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kelvane_hub {

/// What fields_of() knows and set_field() takes: the fields with one value of `message` and of the messages in it, each
/// by the shortest end of its path that no other one has: "rsrp", or "signal_strength.dbm" if there are two of it. Of
/// several messages that exclude each other only that which is there counts.
std::vector<std::string> fields_of(const google::protobuf::Message& message);

/// Sets the field that `name`, its path or an end of it, names to `value`, in protobuf's text format; empty: it is
/// absent from now on. Throws InputError, and `message` is as before.
void set_field(google::protobuf::Message& message, const std::string& name, const std::string& value);

/// Where messages of one type have a field with a whole number.
class NumberField {
 public:
  /// Where `message` has it, by a name that set_field() takes. Throws InputError if there is none of that name, or one
  /// that holds something else.
  static NumberField find(const google::protobuf::Message& message, const std::string& name);

  /// Whether `message` can have it beside what it has.
  bool fits(const google::protobuf::Message& message) const;

  /// Its value; none: it is absent. For a message that it fits, as what follows.
  std::optional<double> read(const google::protobuf::Message& message) const;

  /// Whether it can hold `value`, rounded.
  bool holds(double value) const;

  /// Sets it to the whole number that is the nearest to `value` of those that it can hold.
  void write(google::protobuf::Message& message, double value) const;

  /// "a number from 0 to 4294967295".
  std::string what_it_takes() const;

  /// Whether that is its path, or an end of it.
  bool is_called(const std::string& name) const;

  /// Some order, for those who keep them.
  bool operator<(const NumberField& other) const { return way_ < other.way_; }

 private:
  explicit NumberField(std::vector<const google::protobuf::FieldDescriptor*> way) : way_(std::move(way)) {}

  std::vector<const google::protobuf::FieldDescriptor*> way_;  // the last one is the field
};

}  // namespace kelvane_hub
