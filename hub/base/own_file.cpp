#include "hub/base/own_file.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kelvane_hub {

Taken take_own_file(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return Taken::no;
  if (!S_ISREG(status.st_mode)) return Taken::yes;
  // A lock of fcntl() is the process's: it would let in whoever else captures here, and go as soon as anybody here
  // closes the file. The price: a fork that does not call exec() keeps the file taken as long as it runs.
  if (flock(file, LOCK_EX | LOCK_NB) != 0) return errno == EWOULDBLOCK ? Taken::another_has_it : Taken::no;
  return fchmod(file, S_IRUSR | S_IWUSR) == 0 && ftruncate(file, 0) == 0 ? Taken::yes : Taken::no;
}

}  // namespace kelvane_hub
