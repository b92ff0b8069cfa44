#include "common/line_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace cellscope {

bool LineBuffer::open(const std::string& path) {
  constexpr mode_t for_all = 0666;  // less what the umask takes
  (void)close();
  descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, for_all);
  return descriptor_ != -1;
}

bool LineBuffer::close() {
  // Forgotten before it is closed: its number may be another file's at once.
  const int descriptor = descriptor_.exchange(-1);
  return descriptor != -1 && ::close(descriptor) == 0;
}

std::streamsize LineBuffer::xsputn(const char* text, std::streamsize size) {
  const int descriptor = descriptor_;
  std::streamsize written = 0;
  while (written < size) {
    const ssize_t more = ::write(descriptor, text + written, static_cast<std::size_t>(size - written));
    if (more == -1 && errno == EINTR) continue;
    if (more <= 0) break;
    written += more;
  }
  return written;
}

LineBuffer::int_type LineBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  const char text = traits_type::to_char_type(character);
  return xsputn(&text, 1) == 1 ? character : traits_type::eof();
}

void LineFile::open(const std::string& path) { setstate(buffer_.open(path) ? goodbit : failbit); }

void LineFile::close() {
  if (!buffer_.close()) setstate(failbit);
}

}  // namespace cellscope
