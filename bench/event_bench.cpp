// What an event costs the client, beside what it cannot do without: parsing, and writing finished lines. And what it
// costs when the session is captured.
//
//   event_bench                 the ratios and what follows from them, as tables
//   event_bench count WHAT N    runs `event` or `parse` N times on 8 cells, to be counted by valgrind
//
// The variants take turns in many short slices of one run, and the best slice of each counts: what another process
// does to the machine meanwhile disturbs them alike, or not at all.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "common/line_file.h"
#include "events/event_cb.h"
#include "events/parse.h"
#include "hub/capture_library/captured_session.h"
#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"
#include "tests/event_buffers.h"

namespace cellscope::bench {
namespace {

using com::tarn::kelvane::suid;
using com::tarn::kelvane::session::V1_0::ISession;
using test::attribute_event;
using test::cell_event;

/// Takes everything and keeps nothing.
class DiscardingBuffer final : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
  int_type overflow(int_type character) override { return traits_type::not_eof(character); }
};

/// While it lives, std::cout writes into `buffer`.
class CoutInto {
 public:
  explicit CoutInto(std::streambuf* buffer) : before_(std::cout.rdbuf(buffer)) {}
  ~CoutInto() { std::cout.rdbuf(before_); }
  CoutInto(const CoutInto&) = delete;
  CoutInto& operator=(const CoutInto&) = delete;

 private:
  std::streambuf* before_;
};

void handle(const std::string& buffer) {
  event_cb(reinterpret_cast<const std::uint8_t*>(buffer.data()), buffer.size(), 0);
}

/// Keeps the compiler from leaving out the work that leads to `result`.
template <class Result>
void keep(const Result& result) {
  asm volatile("" : : "g"(&result) : "memory");
}

void parse_only(const std::string& buffer) {
  sns_client_event_msg message;
  (void)message.ParseFromArray(buffer.data(), static_cast<int>(buffer.size()));
  for (const auto& event : message.events()) keep(parse<mox_wwan_event_serving_neighboring_cell_info>(event.payload()));
}

std::vector<std::string> lines_of(const std::string& buffer) {
  std::stringbuf printed;
  {
    const CoutInto redirected(&printed);
    handle(buffer);
  }
  std::istringstream text(printed.str());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line + '\n');
  return lines;
}

void write_through_cout(const std::vector<std::string>& lines) {
  for (const auto& line : lines) {
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size()));
    std::cout.flush();
  }
}

void write_bare(int file, const std::vector<std::string>& lines) {
  for (const auto& line : lines) (void)!::write(file, line.data(), line.size());
}

struct Variant {
  const char* name;
  std::function<void()> once;
  double best = 1e9;  // seconds
};

double time_of(const std::function<void()>& once, int times) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) once();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / times;
}

/// `rewind` runs before each slice, untimed.
void race(std::vector<Variant>& variants, const std::function<void()>& rewind) {
  constexpr int slices = 400;
  constexpr double slice_seconds = 0.0005;
  for (int slice = 0; slice < slices; ++slice) {
    for (auto& variant : variants) {
      rewind();
      const int times = std::max(1, static_cast<int>(slice_seconds / std::min(variant.best, slice_seconds)));
      variant.best = std::min(variant.best, time_of(variant.once, times));
    }
  }
}

/// Whole event, finished lines through std::cout (S), finished lines with a bare write (A).
std::vector<Variant> race_into_file(const std::string& path, const std::string& buffer) {
  const auto lines = lines_of(buffer);
  LineBuffer file;
  file.open(path);
  const int bare = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  std::vector<Variant> variants{{"event", [&] { handle(buffer); }},
                                {"S", [&] { write_through_cout(lines); }},
                                {"A", [&] { write_bare(bare, lines); }}};
  const CoutInto redirected(&file);
  race(variants, [&] {
    (void)lseek(file.descriptor(), 0, SEEK_SET);
    (void)lseek(bare, 0, SEEK_SET);
  });
  ::close(bare);
  return variants;
}

std::vector<Variant> race_without_system_calls(const std::string& buffer) {
  DiscardingBuffer discarding;
  const CoutInto redirected(&discarding);
  std::vector<Variant> variants{{"event", [&] { handle(buffer); }}, {"B", [&] { parse_only(buffer); }}};
  race(variants, [] {});
  return variants;
}

/// A session that has one callback.
class KeptCallback final : public ISession {
 public:
  explicit KeptCallback(event_callback& kept) : kept_(kept) {}
  int open() override { return 0; }
  int close() override { return 0; }
  int register_callback(suid, callback, callback, event_callback on_event) override {
    kept_ = std::move(on_event);
    return 0;
  }
  int send_request(suid, const std::string&) override { return 0; }

 private:
  event_callback& kept_;
};

/// Whole event, the file of the capture and that of the lines side by side.
std::vector<Variant> race_captured(const std::string& path, const std::string& buffer) {
  const std::string capture = path + ".pcap";
  kelvane_hub::CaptureFile file(capture);
  ISession::event_callback captured;
  const auto session = kelvane_hub::capture_session(std::make_unique<KeptCallback>(captured), file);
  (void)session->register_callback({}, {}, {}, event_cb);
  LineBuffer lines;
  lines.open(path);
  const auto* const data = reinterpret_cast<const std::uint8_t*>(buffer.data());
  std::vector<Variant> variants{{"captured", [&] { captured(data, buffer.size(), 0); }},
                                {"event", [&] { handle(buffer); }}};
  const CoutInto redirected(&lines);
  race(variants, [&] {
    (void)lseek(lines.descriptor(), 0, SEEK_SET);
    (void)!truncate(capture.c_str(), 0);
  });
  (void)std::remove(capture.c_str());
  return variants;
}

void print_row(int cells, const char* where, const std::vector<Variant>& variants) {
  (void)std::printf("%5d  %-10s", cells, where);
  for (const auto& variant : variants) (void)std::printf("  %s %.2f us", variant.name, variant.best * 1e6);
  for (std::size_t i = 1; i < variants.size(); ++i) {
    (void)std::printf("  %s/%s %.2f", variants[0].name, variants[i].name, variants[0].best / variants[i].best);
  }
  (void)std::putchar('\n');
}

void run_ratios() {
  const std::string on_tmpfs = "/dev/shm/cellscope-bench-" + std::to_string(getpid());
  for (const int cells : {1, 8, 64}) {
    const std::string buffer = cell_event(cells);
    print_row(cells, "/dev/null", race_into_file("/dev/null", buffer));
    print_row(cells, "tmpfs", race_into_file(on_tmpfs, buffer));
    print_row(cells, "discarded", race_without_system_calls(buffer));
    print_row(cells, "tmpfs", race_captured(on_tmpfs, buffer));
  }
  (void)std::remove(on_tmpfs.c_str());
}

/// How often this process has called write() or one of its kind.
long long writes_so_far() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  long long value = 0;
  while (counters >> name >> value && name != "syscw:") {
  }
  return value;
}

void run_writes_per_line() {
  std::puts("\nwrite system calls a line, into a file:");
  for (const int cells : {1, 8, 64, 10'000}) {
    const std::string buffer = cell_event(cells);
    const auto lines = static_cast<long long>(lines_of(buffer).size());
    LineBuffer file;
    file.open("/dev/null");
    const CoutInto redirected(&file);
    const long long before = writes_so_far();
    handle(buffer);
    const long long writes = writes_so_far() - before;
    (void)std::printf("%6d cells: %lld lines, %lld writes\n", cells, lines, writes);
  }
}

double best_time(const std::function<void()>& once) {
  std::vector<Variant> variants{{"", once}};
  race(variants, [] {});
  return variants[0].best;
}

void run_growth() {
  DiscardingBuffer discarding;
  std::puts("\ncost by size, without system calls:");
  for (const int size : {1, 10, 100, 1'000, 10'000}) {
    const std::string cells = cell_event(size);
    const std::string attributes = attribute_event(size);
    const CoutInto redirected(&discarding);
    const double cell_time = best_time([&] { handle(cells); });
    const double attribute_time = best_time([&] { handle(attributes); });
    (void)std::printf("%6d cells: %8.3f us each; %6d attributes: %8.3f us each\n", size, cell_time * 1e6 / size, size,
                      attribute_time * 1e6 / size);
  }
}

long resident_kib() {
  long total = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void run_memory() {
  const std::string buffer = cell_event(8);
  DiscardingBuffer discarding;
  std::puts("\nresident memory:");
  for (const int events : {1'000, 999'000}) {
    const CoutInto redirected(&discarding);
    for (int i = 0; i < events; ++i) handle(buffer);
    (void)std::printf("after %d more events of 8 cells: %ld KiB\n", events, resident_kib());
  }
}

void run_counted(const std::string& what, int times) {
  constexpr int cells = 8;
  const std::string buffer = cell_event(cells);
  DiscardingBuffer discarding;
  const CoutInto redirected(&discarding);
  for (int i = 0; i < times; ++i) what == "event" ? handle(buffer) : parse_only(buffer);
}

}  // namespace
}  // namespace cellscope::bench

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "count") == 0) {
    cellscope::bench::run_counted(argv[2], std::atoi(argv[3]));
  } else {
    // An attribute event names every attribute on standard error.
    (void)!std::freopen("/dev/null", "w", stderr);
    cellscope::bench::run_ratios();
    cellscope::bench::run_writes_per_line();
    cellscope::bench::run_growth();
    cellscope::bench::run_memory();
  }
}
