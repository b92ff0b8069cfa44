// The file that lines of output go to.
#pragma once

#include <atomic>
#include <fstream>
#include <streambuf>
#include <string>

namespace cellscope {

/// A stream buffer that buffers nothing: a line goes from where it was built to the file in one write. Two threads may
/// print, and share no state but the descriptor.
class LineBuffer final : public std::streambuf {
 public:
  LineBuffer() = default;
  LineBuffer(const LineBuffer&) = delete;
  LineBuffer& operator=(const LineBuffer&) = delete;
  ~LineBuffer() override { (void)close(); }

  /// Opens `path` anew, empty. Returns false if that fails; writing fails then.
  bool open(const std::string& path);

  /// Returns false if nothing was open. Writing fails from now on; a line that another thread is printing may be lost.
  bool close();

  /// The open file's, or -1. Stays this object's.
  int descriptor() const { return descriptor_; }

 protected:
  /// Returns less than `size` if the file takes no more.
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int_type overflow(int_type character) override;

 private:
  std::atomic<int> descriptor_ = -1;
};

/// A file stream with such a buffer. (That of std::ofstream itself promises neither: Android's, told to buffer nothing,
/// keeps eight bytes.)
class LineFile final : public std::ofstream {
 public:
  LineFile() { std::ios::rdbuf(&buffer_); }

  /// As those of std::ofstream, failures set the failbit.
  void open(const std::string& path);
  void close();

  std::streambuf* rdbuf() { return &buffer_; }

 private:
  LineBuffer buffer_;
};

}  // namespace cellscope
