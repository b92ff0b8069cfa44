#include "hub/testbench/fault_kinds.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>
#include <map>
#include <vector>

#include "hub/base/concat.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

std::string bytes(std::size_t count) { return concat(count, count == 1 ? " byte" : " bytes"); }

std::string drop(const scenario_fault&, Message& message, Chance&) {
  message.is_lost = true;
  return "lost";
}

std::string delay_by(double seconds, Message& message) {
  message.delay += to_time(seconds);
  return concat(shown_seconds(seconds), " s late");
}

std::string delay(const scenario_fault& fault, Message& message, Chance&) { return delay_by(fault.delay(), message); }

std::string delay_attributes(const scenario_fault& fault, Message& message, Chance&) {
  return delay_by(fault.late_attributes(), message);
}

std::string duplicate(const scenario_fault&, Message& message, Chance&) {
  ++message.copies;
  return message.copies == 2 ? "twice" : concat(message.copies, " times");
}

std::string reorder(const scenario_fault&, Message& message, Chance&) {
  message.is_swapped = true;
  return "after the next one";
}

std::string truncate(const scenario_fault& fault, Message& message, Chance&) {
  const std::size_t size = message.payload.size();
  const std::size_t cut = std::min<std::size_t>(fault.truncate(), size);
  message.payload.resize(size - cut);
  return cut == 0 ? "" : concat("cut from ", bytes(size), " to ", size - cut);
}

/// Different ones below `size`, `count` of them at most half of it: so each is found in two tries on average.
std::vector<bool> few_places(std::size_t count, std::size_t size, Chance& chance) {
  std::vector<bool> chosen(size);
  for (std::size_t left = count; left > 0;) {
    const std::size_t place = chance.draw() % size;
    if (!chosen[place]) --left;
    chosen[place] = true;
  }
  return chosen;
}

std::string corrupt(const scenario_fault& fault, Message& message, Chance& chance) {
  const std::size_t size = message.payload.size();
  const std::size_t count = std::min<std::size_t>(fault.corrupt(), size);
  // Of many, those are drawn that stay as they are.
  const bool are_many = count > size / 2;
  const auto drawn = few_places(are_many ? size - count : count, size, chance);
  for (std::size_t place = 0; place < size; ++place) {
    if (drawn[place] == are_many) continue;
    // Never 0: then it would stay as it is.
    constexpr std::uint64_t others = 255;
    const auto change = static_cast<unsigned char>(1 + chance.draw() % others);
    message.payload[place] = static_cast<char>(static_cast<unsigned char>(message.payload[place]) ^ change);
  }
  return count == 0 ? "" : concat(count, " of its ", bytes(size), " changed");
}

std::string add_field(const scenario_fault& fault, Message& message, Chance& chance) {
  std::string field;
  {
    google::protobuf::io::StringOutputStream stream(&field);
    google::protobuf::io::CodedOutputStream coded(&stream);
    coded.WriteTag(fault.unknown_field() << 3);  // a varint
    coded.WriteVarint64(chance.draw());
  }
  message.payload += field;
  return concat("with a field ", fault.unknown_field());
}

std::string change_id(const scenario_fault& fault, Message& message, Chance&) {
  message.msg_id = fault.unknown_id();
  return concat("as ", message.msg_id);
}

std::string leave_unanswered(const scenario_fault&, Message& message, Chance&) {
  message.is_lost = true;
  return "not answered";
}

std::string refuse(const scenario_fault& fault, Message& message, Chance&) {
  message.refusal = static_cast<HubError>(fault.refusal());
  return concat("refused with error ", fault.refusal());
}

std::string lose_sensor(const scenario_fault& fault, Message& message, Chance&) {
  const auto& gone = fault.sensor_gone();
  message.gone_until = gone.has_back_after() ? message.now + to_time(gone.back_after()) : Time::max();
  return concat("the sensor ", message.data_type, " is gone",
                gone.has_back_after() ? concat(" for ", shown_seconds(gone.back_after()), " s") : "");
}

std::string cut(const scenario_fault&, Message& message, Chance&) {
  message.is_cut = true;
  return "the connection ends";
}

std::string restart(const scenario_fault&, Message& message, Chance&) {
  message.is_restart = true;
  return "the hub starts anew";
}

}  // namespace

double seconds_of(const scenario_fault& fault) {
  // Of those that it is not these are 0.
  return fault.delay() + fault.late_attributes() + fault.sensor_gone().back_after();
}

std::string strike(const scenario_fault& fault, Message& message, Chance& chance) {
  using Function = std::string (*)(const scenario_fault&, Message&, Chance&);
  static const std::map<scenario_fault::WhatCase, Function> functions{
      {scenario_fault::kDrop, drop},
      {scenario_fault::kDelay, delay},
      {scenario_fault::kDuplicate, duplicate},
      {scenario_fault::kReorder, reorder},
      {scenario_fault::kTruncate, truncate},
      {scenario_fault::kCorrupt, corrupt},
      {scenario_fault::kUnknownField, add_field},
      {scenario_fault::kUnknownId, change_id},
      {scenario_fault::kNoAnswer, leave_unanswered},
      {scenario_fault::kRefusal, refuse},
      {scenario_fault::kLateAttributes, delay_attributes},
      {scenario_fault::kSensorGone, lose_sensor},
      {scenario_fault::kCut, cut},
      {scenario_fault::kHubRestart, restart},
  };
  const auto found = functions.find(fault.what_case());
  return found == functions.end() ? "" : found->second(fault, message, chance);
}

}  // namespace kelvane_hub
