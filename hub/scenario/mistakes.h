// What is wrong or doubtful in a text that a person wrote.
#pragma once

#include <google/protobuf/io/tokenizer.h>

#include <string>
#include <utility>
#include <vector>

#include "hub/scenario/text_fields.h"

namespace kelvane_hub {

/// Keeps what a parser and others find, to be told in the form that editors know how to jump to.
class Mistakes final : public google::protobuf::io::ErrorCollector {
 public:
  explicit Mistakes(std::string file) : file_(std::move(file)) {}

  void add(const TextPlace& place, const std::string& message) { all_.push_back({place, message}); }

  /// Lines and columns come counted from 0.
  void AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
    add({line, column}, message);
  }

  /// What is unknown to the parser; it goes on after that and may find more.
  void AddWarning(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
    add({line, column}, message);
  }

  const std::string& file() const { return file_; }

  bool empty() const { return all_.empty(); }

  /// A line for each mistake, "file:line:column: …", with newlines between them, in order of place; empty: none.
  std::string text() const;

  /// Throws InputError whose text that is.
  void throw_if_any() const;

 private:
  struct Mistake {
    TextPlace place;
    std::string message;
  };

  std::string file_;
  std::vector<Mistake> all_;
};

}  // namespace kelvane_hub
