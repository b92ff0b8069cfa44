#include "hub/plot/gnuplot.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "hub/base/input_error.h"
#include "hub/base/process.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

/// A file in memory: nothing to clean up, and no pipe that fills.
UniqueFd memory_file(const char* name) {
  UniqueFd file(memfd_create(name, MFD_CLOEXEC));
  if (!file) throw std::system_error(errno, std::generic_category(), "a file in memory");
  return file;
}

void write_all(const UniqueFd& file, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t more = write(file.get(), text.data() + written, text.size() - written);
    if (more == -1) throw std::system_error(errno, std::generic_category(), "a file in memory");
    written += static_cast<std::size_t>(more);
  }
  (void)lseek(file.get(), 0, SEEK_SET);
}

std::string read_all(const UniqueFd& file) {
  std::string text;
  std::array<char, 65536> buffer;
  ssize_t size = 0;
  (void)lseek(file.get(), 0, SEEK_SET);
  while ((size = read(file.get(), buffer.data(), buffer.size())) > 0)
    text.append(buffer.data(), static_cast<std::size_t>(size));
  return text;
}

}  // namespace

std::string run_gnuplot(const std::string& script) {
  const UniqueFd in = memory_file("script");
  const UniqueFd out = memory_file("picture");
  const UniqueFd errors = memory_file("errors");
  write_all(in, script);
  Launch gnuplot({"gnuplot", "-d"});  // without the user's start-up files
  gnuplot.give(in.get(), STDIN_FILENO);
  gnuplot.give(out.get(), STDOUT_FILENO);
  gnuplot.give(errors.get(), STDERR_FILENO);
  pid_t process = -1;
  const int error = gnuplot.start(process);
  if (error == ENOENT) throw InputError("plot: expected gnuplot in PATH, found none; the package gnuplot-nox has it");
  if (error != 0) throw InputError(std::string("plot: cannot start gnuplot: ") + strerror(error));
  if (wait_for(process) != 0) throw InputError("plot: gnuplot failed: " + read_all(errors));
  return read_all(out);
}

}  // namespace kelvane_hub
