#include "hub/plot/gnuplot.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "hub/base/concat.h"
#include "hub/base/descriptors.h"
#include "hub/base/input_error.h"
#include "hub/base/process.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

/// Of a picture, and of what is said of it: gnuplot may be another program, and print without end.
constexpr std::size_t most_mebibytes = 256;
constexpr std::size_t most_bytes = most_mebibytes << 20U;

/// A file in memory: nothing to clean up, and no pipe that fills.
UniqueFd memory_file(const char* name) {
  UniqueFd file(memfd_create(name, MFD_CLOEXEC));
  if (!file) throw std::system_error(errno, std::generic_category(), "a file in memory");
  return file;
}

std::string all_of(const UniqueFd& file) {
  std::string text;
  (void)lseek(file.get(), 0, SEEK_SET);
  while (read_more(text, file.get())) {
  }
  return text;
}

std::string without_blank_ends(const std::string& text) {
  const auto begin = text.find_first_not_of(" \n");
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

bool is_full(const UniqueFd& file) {
  struct stat status {};
  return fstat(file.get(), &status) == 0 && static_cast<std::size_t>(status.st_size) >= most_bytes;
}

std::string how_it_ended(int status) {
  return WIFSIGNALED(status) ? concat("it was ended by signal ", WTERMSIG(status))
                             : concat("it ended with exit status ", WEXITSTATUS(status));
}

/// What is said of a gnuplot that has `said` what it could not do, if anything.
std::string failure(const std::string& said, int status) {
  if (said.empty()) return "plot: gnuplot failed: " + how_it_ended(status);
  if (said.find("unknown or ambiguous terminal") == std::string::npos) return "plot: gnuplot failed: " + said;
  return "plot: expected a gnuplot with the terminals svg, pngcairo and pdfcairo, found one without this one; the "
         "package gnuplot-nox has one with all";
}

}  // namespace

std::string run_gnuplot(const std::string& script, std::chrono::milliseconds patience) {
  const UniqueFd in = memory_file("script");
  const UniqueFd out = memory_file("picture");
  const UniqueFd errors = memory_file("errors");
  write_all(script, in.get());
  (void)lseek(in.get(), 0, SEEK_SET);
  // Without the user's start-up files.
  const Ended ended = run_to_end({"gnuplot", "-d"}, {in.get(), out.get(), errors.get()}, patience, most_bytes);
  if (ended.start_error == ENOENT) {
    throw InputError("plot: expected gnuplot in PATH, found none; the package gnuplot-nox has it");
  }
  if (ended.start_error != 0) {
    throw InputError(std::string("plot: cannot start gnuplot: ") + strerror(ended.start_error));
  }
  if (is_full(out) || is_full(errors)) {
    throw InputError(concat("plot: expected less than ", most_mebibytes, " MiB from gnuplot, found more"));
  }
  if (!ended.status) {
    const auto seconds = std::chrono::duration<double>(patience).count();
    throw InputError(concat("plot: gnuplot has not drawn anything after ", seconds, " seconds, and was stopped"));
  }
  if (*ended.status != 0) throw InputError(failure(without_blank_ends(all_of(errors)), *ended.status));
  return all_of(out);
}

}  // namespace kelvane_hub
