// The file that lines of output go to.
#pragma once

#include <streambuf>
#include <string>

namespace cellscope {

/// A stream buffer that buffers nothing: a line goes from where it was built to the file in one write. Two threads may
/// print, and share no state but the descriptor. (std::filebuf promises neither: Android's keeps eight bytes.)
///
/// open() and close() on one thread; close() while another thread prints loses its line.
class LineFile final : public std::streambuf {
 public:
  LineFile() = default;
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  ~LineFile() override { close(); }

  /// Opens `path` anew, empty. If that fails, writing fails.
  void open(const std::string& path);

  void close();

  /// The open file's, or -1. Stays this object's.
  int descriptor() const { return descriptor_; }

 protected:
  /// Returns less than `size` if the file takes no more.
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int_type overflow(int_type character) override;

 private:
  int descriptor_ = -1;
};

}  // namespace cellscope
