#include "events/attributes.h"

#include "common/line.h"
#include "common/state.h"

namespace cellscope {
namespace {

using element = sns_std_attr_value_element;

// The numbers that tell an element's kinds apart are the platform's.
constexpr int kind_list = 1;
constexpr int kind_float = 3;
constexpr int kind_integer = 4;

int kind_of(const element& value) { return static_cast<int>(value.kind_case()); }

const sns_std_attr_value* find_attribute(std::int32_t attribute_id) {
  const auto found = attribute_cache.find(attribute_id);
  return found == attribute_cache.end() ? nullptr : &found->second;
}

/// How elements of one kind are read, and what is said of an element that is of another.
template <class Value>
struct Reader {
  int kind;
  Value (element::*get)() const;
  const char* function;
  int line;
  const char* complaint;
};

template <class Value>
std::vector<Value> read_elements(std::int32_t attribute_id, const Reader<Value>& reader) {
  const auto* attribute = find_attribute(attribute_id);
  if (attribute == nullptr) return {};
  std::vector<Value> values(static_cast<std::size_t>(attribute->values_size()));
  for (int i = 0; i < attribute->values_size(); ++i) {
    const element& value = attribute->values(i);
    if (kind_of(value) == reader.kind) {
      values[static_cast<std::size_t>(i)] = (value.*reader.get)();
    } else {
      diagnostic(reader.function, reader.line, "attribute :", attribute_id, " and element ", i, reader.complaint);
    }
  }
  return values;
}

bool is_range(const element& value) {
  return kind_of(value) == kind_list && value.list().values_size() >= 2 &&
         kind_of(value.list().values(0)) == kind_float && kind_of(value.list().values(1)) == kind_float;
}

}  // namespace

void store_attributes(const sns_std_attr_event& event) {
  for (const auto& attribute : event.attributes()) {
    diagnostic("event_cb", 666, "attribute ID :", attribute.attr_id());
    attribute_cache[attribute.attr_id()] = attribute.value();
  }
}

std::vector<float> get_floats(std::int32_t attribute_id) {
  return read_elements<float>(attribute_id, {kind_float, &element::real, "get_floats", 157, " is not a float"});
}

std::vector<std::int64_t> get_ints(std::int32_t attribute_id) {
  return read_elements<std::int64_t>(attribute_id,
                                     {kind_integer, &element::integer, "get_ints", 174, " is not an int"});
}

std::vector<std::pair<float, float>> get_ranges() {
  const auto* attribute = find_attribute(SNS_STD_SENSOR_ATTRID_RANGES);
  if (attribute == nullptr) return {};
  std::vector<std::pair<float, float>> ranges(static_cast<std::size_t>(attribute->values_size()));
  for (int i = 0; i < attribute->values_size(); ++i) {
    const element& value = attribute->values(i);
    if (is_range(value)) {
      ranges[static_cast<std::size_t>(i)] = {value.list().values(0).real(), value.list().values(1).real()};
    } else {
      diagnostic("get_ranges", 198, "malformed value for SNS_STD_SENSOR_ATTRID_RANGES");
    }
  }
  return ranges;
}

void print_sensor_info() {
  constexpr std::int32_t floats_of_streaming_sensor = 6;
  constexpr std::int32_t floats = 7;
  const auto stream_types = get_ints(ATTRID_STREAM_TYPE);
  if (stream_types.empty()) {
    diagnostic("get_stream_type", 208, "stream_type attribute not available");
  } else {
    stream_type = stream_types.front();
  }
  if (stream_type == 0) (void)get_floats(floats_of_streaming_sensor);
  (void)get_floats(floats);
  (void)get_ranges();
}

}  // namespace cellscope
