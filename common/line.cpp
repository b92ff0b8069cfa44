#include "common/line.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>

namespace cellscope {
namespace {

/// What a byte is in a dump. Eight bytes, so that one load gets it.
struct alignas(8) ByteText {
  char text[4];  // up to three digits, then a blank
  std::uint32_t size;
};

constexpr std::array<ByteText, 256> make_byte_texts() {
  std::array<ByteText, 256> texts{};
  for (unsigned byte = 0; byte < texts.size(); ++byte) {
    ByteText& entry = texts[byte];
    if (byte >= 100) entry.text[entry.size++] = static_cast<char>('0' + byte / 100);
    if (byte >= 10) entry.text[entry.size++] = static_cast<char>('0' + byte / 10 % 10);
    entry.text[entry.size++] = static_cast<char>('0' + byte % 10);
    entry.text[entry.size++] = ' ';
  }
  return texts;
}

constexpr std::array<ByteText, 256> byte_texts = make_byte_texts();

}  // namespace

Line& Line::add_byte_dump(std::string_view bytes) {
  reserve(bytes.size() * sizeof(ByteText::text));
  char* end = end_;
  for (const char byte : bytes) {
    const ByteText entry = byte_texts[static_cast<unsigned char>(byte)];
    std::memcpy(end, entry.text, sizeof entry.text);  // always four: cheaper than asking how many
    end += entry.size;
  }
  end_ = end;
  return *this;
}

void Line::print() {
  const std::string_view line = finish();
  // What std::cout.write() and flush() do, without the bookkeeping that each of them adds to every line.
  if (!std::cout.good()) return;
  const auto size = static_cast<std::streamsize>(line.size());
  std::streambuf& out = *std::cout.rdbuf();
  if (out.sputn(line.data(), size) != size || out.pubsync() == -1) std::cout.setstate(std::ios::badbit);
}

void Line::print_diagnostic() {
  const std::string_view line = finish();
  (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void Line::grow(std::size_t more) {
  const auto size = static_cast<std::size_t>(end_ - begin_);
  const auto capacity = std::max(size + more, 2 * static_cast<std::size_t>(limit_ - begin_));
  auto larger = std::make_unique_for_overwrite<char[]>(capacity + 1);
  std::memcpy(larger.get(), begin_, size);
  long_ = std::move(larger);
  begin_ = long_.get();
  end_ = begin_ + size;
  limit_ = begin_ + capacity;
}

std::string_view Line::finish() {
  *end_++ = '\n';
  return {begin_, static_cast<std::size_t>(end_ - begin_)};
}

}  // namespace cellscope
