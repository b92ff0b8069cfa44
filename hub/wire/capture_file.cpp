#include "hub/wire/capture_file.h"

#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <iomanip>
#include <system_error>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/wire/little_endian.h"

namespace kelvane_hub {
namespace {

static_assert(std::endian::native == std::endian::little, "libpcap writes the host's own byte order");

constexpr std::uint32_t microsecond_magic = 0xa1b2c3d4;
constexpr std::size_t most_at_once = 65536;  // bytes: no room is made for what may never come

std::string hex(std::uint64_t number) { return concat("0x", std::hex, number); }

[[noreturn]] void throw_errno() { throw std::system_error(errno, std::generic_category()); }

std::size_t read_from(int descriptor, std::span<char> room) {
  for (;;) {
    const ssize_t received = ::read(descriptor, room.data(), room.size());
    if (received >= 0) return static_cast<std::size_t>(received);
    if (errno != EINTR) throw_errno();
  }
}

constexpr std::uint32_t pcapng = 0x0a0d0d0a;

bool is_swapped(std::uint32_t magic) { return magic == 0x4d3cb2a1 || magic == 0xd4c3b2a1; }

/// What else begins so.
const char* known_as(std::uint32_t magic) {
  if (magic == pcapng) return " (pcapng; editcap -F nsecpcap makes a pcap file of it)";
  return is_swapped(magic) ? " (a pcap file of another byte order)" : "";
}

}  // namespace

// ---- written ----

CaptureWriter::CaptureWriter(UniqueFd file)
    : form_(pcap_open_dead_with_tstamp_precision(capture_link_type, max_capture_data, PCAP_TSTAMP_PRECISION_NANO)) {
  if (!form_) throw_errno();
  std::FILE* const stream = fdopen(file.get(), "w");
  if (stream == nullptr) throw_errno();
  whole_ = ftello(stream);
  (void)file.release();
  file_.reset(pcap_dump_fopen(form_.get(), stream));
  if (!file_) {
    (void)std::fclose(stream);
    throw_errno();
  }
  flush();
}

void CaptureWriter::write(const CaptureRecord& record) {
  const auto front = encode_message_head({record.time, record.direction, record.session, record.sensor});
  std::string bytes(front.begin(), front.end());
  bytes += record.message;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(record.time);
  pcap_pkthdr head{};
  head.ts.tv_sec = seconds.count();
  head.ts.tv_usec = (record.time - seconds).count();  // nanoseconds, in this form of file
  head.caplen = head.len = static_cast<bpf_u_int32>(bytes.size());
  pcap_dump(reinterpret_cast<u_char*>(file_.get()), &head, reinterpret_cast<const u_char*>(bytes.data()));
  flush();
}

void CaptureWriter::flush() {
  std::FILE* const stream = pcap_dump_file(file_.get());
  if (pcap_dump_flush(file_.get()) != 0 || std::ferror(stream) != 0) cut_off();
  whole_ = ftello(stream);
}

/// What the stream still has would follow when it is closed.
void CaptureWriter::cut_off() {
  const int error = errno;
  std::FILE* const stream = pcap_dump_file(file_.get());
  __fpurge(stream);
  if (whole_ >= 0) (void)!ftruncate(fileno(stream), whole_);
  throw std::system_error(error, std::generic_category());
}

// ---- read ----

CaptureReader::CaptureReader(Source source, std::string name) : source_(std::move(source)), name_(std::move(name)) {
  take_head();
}

CaptureReader::CaptureReader(int descriptor, std::string name)
    : CaptureReader([descriptor](std::span<char> room) { return read_from(descriptor, room); }, std::move(name)) {}

std::string CaptureReader::place(std::uint64_t byte) const {
  return concat(name_, ": ", records_ == 0 ? "" : concat("record ", records_, ", "), "byte ", byte, ": ");
}

void CaptureReader::fail(std::uint64_t byte, const std::string& what) const { throw InputError(place(byte) + what); }

/// Up to `size` bytes, fewer at the end.
std::string CaptureReader::take(std::size_t size) try {
  std::string bytes;
  while (bytes.size() < size) {
    const std::size_t before = bytes.size();
    bytes.resize(std::min(size, before + most_at_once));
    const std::size_t received = source_({bytes.data() + before, bytes.size() - before});
    bytes.resize(before + received);
    taken_ += received;
    if (received == 0) break;
  }
  return bytes;
} catch (const std::system_error& error) {
  throw InputError(concat(name_, ": cannot read it: ", error.code().message()));
}

std::optional<std::string> CaptureReader::take_whole(std::size_t size, const char* what) {
  const std::uint64_t begin = taken_;
  std::string bytes = take(size);
  if (bytes.size() == size) return bytes;
  cut_off_ = concat(place(begin), "expected ", size, " bytes of ", what, ", found ",
                    bytes.empty() ? "the end" : concat("the end after ", bytes.size()));
  return std::nullopt;
}

void CaptureReader::take_head() {
  const auto head = take_whole(capture_file_header.size(), "a pcap file's head");
  if (!head) throw InputError(cut_off_);
  const auto magic = static_cast<std::uint32_t>(number_at(*head, 0, 4));
  if (magic != capture_magic && magic != microsecond_magic) {
    fail(0, concat("expected a pcap file, ", hex(capture_magic), " or ", hex(microsecond_magic), ", found ", hex(magic),
                   known_as(magic)));
  }
  counts_microseconds_ = magic == microsecond_magic;
  if (const auto major = number_at(*head, 4, 2); major != capture_version) {
    fail(4, concat("expected version ", capture_version, ", found ", major));
  }
  const auto link = number_at(*head, 20, 4) & 0xffff;  // above it stands what the link type does not tell
  if (link != capture_link_type) fail(20, concat("expected link type ", capture_link_type, " (USER0), found ", link));
}

std::optional<CaptureRecord> CaptureReader::next() {
  ++records_;
  const std::uint64_t begin = taken_;
  const auto head = take_whole(pcap_record_size, "a record's head");
  if (!head) {
    if (taken_ == begin) cut_off_.clear();
    return std::nullopt;
  }
  CaptureRecord record;
  record.time = time_in(*head, begin);
  const std::size_t size = size_in(*head, begin);
  const auto bytes = take_whole(size, "a record");
  if (!bytes) return std::nullopt;
  read_message(*bytes, begin + pcap_record_size, record);
  return record;
}

std::chrono::nanoseconds CaptureReader::time_in(const std::string& head, std::uint64_t begin) const {
  const auto fraction = number_at(head, 4, 4);
  const std::uint32_t most = counts_microseconds_ ? 999'999 : 999'999'999;
  if (fraction > most) fail(begin + 4, concat("expected a fraction of a second, 0 to ", most, ", found ", fraction));
  return std::chrono::seconds(number_at(head, 0, 4)) +
         std::chrono::nanoseconds(fraction * (counts_microseconds_ ? 1000 : 1));
}

std::size_t CaptureReader::size_in(const std::string& head, std::uint64_t begin) const {
  const auto size = number_at(head, 8, 4);
  constexpr auto most = capture_record_size + max_payload;
  if (size < capture_record_size || size > most) {
    fail(begin + 8, concat("expected a record of ", capture_record_size, " to ", most, " bytes, found one of ", size));
  }
  const auto whole = number_at(head, 12, 4);
  if (whole != size) fail(begin + 12, concat("expected a whole message, found ", size, " bytes of ", whole));
  return size;
}

void CaptureReader::read_message(const std::string& bytes, std::uint64_t begin, CaptureRecord& record) const {
  if (const auto found = number_at(bytes, 0, 1); found != capture_record_version) {
    fail(begin, concat("expected version ", int{capture_record_version}, " of a message's head, found ", found));
  }
  const auto direction = number_at(bytes, 1, 1);
  record.direction = static_cast<Direction>(direction);
  if (record.direction != Direction::event && record.direction != Direction::request) {
    fail(begin + 1, concat("expected the direction 1 (event) or 2 (request), found ", direction));
  }
  record.session = static_cast<std::uint32_t>(number_at(bytes, 4, 4));
  record.sensor = {number_at(bytes, 8, 8), number_at(bytes, 16, 8)};
  record.message = bytes.substr(capture_record_size);
}

// ---- as a whole ----

bool begins_capture(std::string_view bytes) {
  if (bytes.size() < 4) return false;
  const auto magic = static_cast<std::uint32_t>(number_at(bytes, 0, 4));
  // Line ends are text as well.
  if (magic == pcapng) return bytes.substr(4, 4).find('\0') != std::string_view::npos;
  return magic == capture_magic || magic == microsecond_magic || is_swapped(magic);
}

Capture read_capture(std::string_view bytes, const std::string& name) {
  CaptureReader reader(
      [bytes](std::span<char> room) mutable {
        const std::size_t size = bytes.copy(room.data(), room.size());
        bytes.remove_prefix(size);
        return size;
      },
      name);
  Capture capture;
  while (auto record = reader.next()) capture.records.push_back(std::move(*record));
  capture.cut_off = reader.cut_off();
  return capture;
}

}  // namespace kelvane_hub
