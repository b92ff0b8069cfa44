// make_dissector TEMPLATE OUTPUT: writes the dissector, with tables of all messages in place of the template's line
// "-- TABLES". So no list of fields has to be kept beside the .proto files.

#include <google/protobuf/descriptor.h>

#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <string>

#include "hub/messages/catalogue.h"
#include "hub/simulator/registrations.h"
#include "kelvane_api.pb.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;

/// Those that are needed, each once.
class Tables {
 public:
  void add(const Descriptor& type) {
    if (!known_.insert(type.full_name()).second) return;
    std::string fields;
    for (int i = 0; i < type.field_count(); ++i) fields += line_of(*type.field(i));
    messages_ += "  [\"" + type.full_name() + "\"] = {\n" + fields + "  },\n";
  }

  std::string text() const {
    return "local messages = {\n" + messages_ + "}\nlocal enumerations = {\n" + enumerations_ + "}\n";
  }

 private:
  std::string line_of(const FieldDescriptor& field) {
    std::ostringstream line;
    line << "    [" << field.number() << "] = { name = \"" << field.name() << "\", type = \"" << field.type_name()
         << '"';
    if (const Descriptor* const type = field.message_type(); type != nullptr) {
      line << ", of = \"" << type->full_name() << '"';
      add(*type);
    }
    if (const EnumDescriptor* const type = field.enum_type(); type != nullptr) {
      line << ", of = \"" << type->full_name() << '"';
      add(*type);
    }
    line << " },\n";
    return line.str();
  }

  void add(const EnumDescriptor& type) {
    if (!known_.insert(type.full_name()).second) return;
    std::ostringstream values;
    for (int i = 0; i < type.value_count(); ++i) {
      values << " [" << type.value(i)->number() << "] = \"" << type.value(i)->name() << "\",";
    }
    enumerations_ += "  [\"" + type.full_name() + "\"] = {" + values.str() + " },\n";
  }

  std::set<std::string> known_;
  std::string messages_;
  std::string enumerations_;
};

std::string table_of(const char* name, std::span<const kelvane_hub::MessageKind> kinds, Tables& tables) {
  std::ostringstream table;
  table << "local " << name << " = {\n";
  for (const auto& [id, kind, payload] : kinds) {
    table << "  [" << id << "] = { name = \"" << kind << '"';
    if (payload != nullptr) {
      const Descriptor& type = *payload()->GetDescriptor();
      tables.add(type);
      table << ", payload = \"" << type.full_name() << '"';
    }
    table << " },\n";
  }
  table << "}\n";
  return table.str();
}

/// The flag of a registration that asks for this event.
std::string flag_of(const kelvane_hub::Registration& registration) {
  const Descriptor& type = *mox_wwan_sensor_config::descriptor();
  for (int i = 0; i < type.field_count(); ++i) {
    mox_wwan_sensor_config config;
    if (type.field(i)->cpp_type() != FieldDescriptor::CPPTYPE_BOOL) continue;
    mox_wwan_sensor_config::GetReflection()->SetBool(&config, type.field(i), true);
    if ((config.*registration.wanted)()) return type.field(i)->name();
  }
  return "";
}

/// As one of the template's answers: which event each flag asks for.
std::string registrations() {
  std::ostringstream table;
  table << "local registrations = {\n";
  for (const auto& registration : kelvane_hub::registrations) {
    table << "  { event = \"" << kelvane_hub::find_event_kind(registration.event)->name << "\", wanted = \""
          << flag_of(registration) << "\", goes_on = true },\n";
  }
  table << "}\n";
  return table.str();
}

std::string all_tables() {
  Tables tables;
  tables.add(*sns_client_request_msg::descriptor());
  tables.add(*sns_client_event_msg::descriptor());
  const std::string requests = table_of("requests", kelvane_hub::request_kinds(), tables);
  const std::string events = table_of("events", kelvane_hub::event_kinds(), tables);
  return requests + events + registrations() + tables.text();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream dissector(argv[1]);
  std::ofstream written(argv[2]);
  for (std::string line; std::getline(dissector, line);) {
    written << (line == "-- TABLES" ? all_tables() : line + "\n");
  }
  written.close();
  if (dissector.eof() && written) return 0;
  std::cerr << "make_dissector: cannot make " << argv[2] << " of " << argv[1] << '\n';
  return 1;
}
