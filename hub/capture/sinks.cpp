#include "hub/capture/sinks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/base/own_file.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

[[noreturn]] void throw_errno() { throw std::system_error(errno, std::generic_category()); }

UniqueFd open_for_one(const std::string& path) {
  // Not to wait for a reader of a pipe.
  UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file && errno == ENXIO) throw InputError(path + ": expected a pipe that somebody reads, found one without");
  if (!file) throw_errno();
  const Taken taken = take_own_file(file.get());
  if (taken == Taken::another_has_it) {
    throw InputError(path + ": expected a file of its own, found one that another capture goes into");
  }
  if (taken == Taken::no) throw_errno();
  (void)fcntl(file.get(), F_SETFL, O_WRONLY);
  return beside_standard_streams(std::move(file));
}

}  // namespace

Sink capture_at(const std::string& path) try {
  const auto writer = std::make_shared<CaptureWriter>(open_for_one(path));
  return [writer, path](const CaptureRecord& record) {
    try {
      writer->write(record);
    } catch (const std::system_error& error) {
      throw InputError(concat(path, ": ", error.code().message()));
    }
  };
} catch (const std::system_error& error) {
  throw InputError(concat(path, ": cannot write it: ", error.code().message()));
}

Sink lines_on_standard_output(const View& view) {
  return [lines = std::make_shared<Lines>(view)](const CaptureRecord& record) {
    write_to_descriptor(lines->of(record), STDOUT_FILENO, "standard output");
  };
}

}  // namespace kelvane_hub
