#include "common/line_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace cellscope {

void LineFile::open(const std::string& path) {
  constexpr mode_t for_all = 0666;  // less what the umask takes
  close();
  descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, for_all);
}

void LineFile::close() {
  if (descriptor_ != -1) (void)::close(descriptor_);
  descriptor_ = -1;
}

std::streamsize LineFile::xsputn(const char* text, std::streamsize size) {
  std::streamsize written = 0;
  while (written < size) {
    const ssize_t more = ::write(descriptor_, text + written, static_cast<std::size_t>(size - written));
    if (more == -1 && errno == EINTR) continue;
    if (more <= 0) break;
    written += more;
  }
  return written;
}

LineFile::int_type LineFile::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  const char text = traits_type::to_char_type(character);
  return xsputn(&text, 1) == 1 ? character : traits_type::eof();
}

}  // namespace cellscope
