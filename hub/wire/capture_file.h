// Captures: what hubs and clients have said to each other, in pcap files. docs/protocol.md has their form.
#pragma once

#include <pcap/pcap.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hub/base/unique_fd.h"
#include "hub/wire/capture_format.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// A message, whole.
struct CaptureRecord {
  std::chrono::nanoseconds time{};  // UTC, since the beginning of 1970
  Direction direction{};
  std::uint32_t session = 0;  // from 1, in the order in which they were opened
  suid sensor{};              // that the request is for or the event is from
  /// A serialised sns_client_request_msg or sns_client_event_msg, if it is well formed; at most max_payload bytes.
  std::string message;
};

/// Begins a capture, and writes record after record. Each is in the file when write() returns, whatever becomes of the
/// process.
class CaptureWriter {
 public:
  /// Takes over an open file, and writes from where it stands. Throws std::system_error.
  explicit CaptureWriter(UniqueFd file);

  /// Throws std::system_error if the file does not take it, of which nothing is left there then, unless it is a pipe;
  /// then it is of no use any more.
  void write(const CaptureRecord& record);

 private:
  struct Close {
    void operator()(pcap_t* form) const { pcap_close(form); }
    void operator()(pcap_dumper_t* file) const { pcap_dump_close(file); }
  };

  void flush();
  [[noreturn]] void cut_off();

  std::unique_ptr<pcap_t, Close> form_;
  std::unique_ptr<pcap_dumper_t, Close> file_;
  off_t whole_ = -1;  // bytes, as far as records are whole; -1: of what has no size
};

/// Reads a capture, a record at a time, from a file or from a pipe in which it still grows.
class CaptureReader {
 public:
  /// Fills the room with what comes next, from one byte on; returns how many these are, 0 at the end.
  using Source = std::function<std::size_t(std::span<char> room)>;

  /// `name` takes the file's place in messages. Reads the head of the file. Throws InputError, "name: byte 20: expected
  /// …, found …", if it is no capture.
  CaptureReader(Source source, std::string name);

  /// The same from an open descriptor, which outlives this object.
  CaptureReader(int descriptor, std::string name);

  /// None at the end. Throws InputError, "name: record 3, byte 1042: expected …, found …", if what follows is no record
  /// of a message; records are counted from 1, bytes of the file from 0.
  std::optional<CaptureRecord> next();

  /// When next() has come to the end: what is missing there, if the file ends within a record, "name: record 3, byte
  /// 1042: expected …, found …"; else empty.
  const std::string& cut_off() const { return cut_off_; }

 private:
  void take_head();
  std::string take(std::size_t size);
  std::optional<std::string> take_whole(std::size_t size, const char* what);
  // Of the head of a record, or of the record, that begins there.
  std::chrono::nanoseconds time_in(const std::string& head, std::uint64_t begin) const;
  std::size_t size_in(const std::string& head, std::uint64_t begin) const;
  void read_message(const std::string& bytes, std::uint64_t begin, CaptureRecord& record) const;
  [[noreturn]] void fail(std::uint64_t byte, const std::string& what) const;
  std::string place(std::uint64_t byte) const;

  Source source_;
  std::string name_;
  std::uint64_t taken_ = 0;    // bytes
  std::uint64_t records_ = 0;  // begun
  bool counts_microseconds_ = false;
  std::string cut_off_;
};

/// Whether bytes that begin so are taken for a capture, as those of any pcap or pcapng file are.
bool begins_capture(std::string_view bytes);

/// All of a capture.
struct Capture {
  std::vector<CaptureRecord> records;
  std::string cut_off;  // as CaptureReader says it; empty: the capture is whole
};

/// Reads all of `bytes`. Throws InputError as CaptureReader does.
Capture read_capture(std::string_view bytes, const std::string& name);

}  // namespace kelvane_hub
