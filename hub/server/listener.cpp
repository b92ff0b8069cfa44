#include "hub/server/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "hub/base/input_error.h"
#include "hub/base/unix_socket.h"
#include "hub/server/path_lock.h"
#include "hub/wire/descriptor_passing.h"

namespace kelvane_hub {
namespace {

UnixAddress address_of(const std::string& path) {
  if (path.empty() || path.size() > UnixAddress::longest_path) {
    throw InputError(path + ": expected a socket path of 1 to " + std::to_string(UnixAddress::longest_path) +
                     " bytes, found one of " + std::to_string(path.size()));
  }
  return UnixAddress(path);
}

/// What stands at a path, for messages.
const char* kind_of(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return "a folder";
  if (S_ISLNK(status.st_mode)) return "a symbolic link";
  return S_ISREG(status.st_mode) ? "a file" : "neither";
}

/// Makes room at `path` if all that stands there is the socket of a hub that is gone.
void remove_stale(const std::string& path, const UnixAddress& address) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  if (!S_ISSOCK(status.st_mode)) {
    throw InputError(path + ": expected a free path or a socket, found " + kind_of(status));
  }
  const UniqueFd probe = new_stream_socket();
  const int error = connect_at_once(probe.get(), address);
  // No room left: somebody listens all the same.
  if (error == 0 || error == EAGAIN) {
    throw InputError(path + ": expected a free path, found a socket that a running hub listens on");
  }
  if (error != ECONNREFUSED) throw InputError(path + ": cannot tell whether its socket is in use: " + strerror(error));
  (void)unlink(path.c_str());
}

ucred peer_of(int connection) {
  ucred peer{0, static_cast<uid_t>(-1), 0};
  socklen_t size = sizeof peer;
  (void)getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size);
  return peer;
}

class ListeningSocket final : public ConnectionSource {
 public:
  ListeningSocket(std::string path, std::function<void(const std::string& line)> say)
      : path_(std::move(path)), say_(std::move(say)), socket_(new_stream_socket()) {
    const UnixAddress address = address_of(path_);
    const PathLock lock(path_);
    remove_stale(path_, address);
    const mode_t before = umask(S_IRWXG | S_IRWXO | S_IXUSR);
    const int bound = bind(socket_.get(), address.get(), UnixAddress::size());
    const int error = errno;
    umask(before);
    if (bound != 0) throw InputError(path_ + ": cannot listen there: " + strerror(error));
    if (listen(socket_.get(), SOMAXCONN) != 0) {
      const int reason = errno;
      (void)unlink(path_.c_str());
      throw InputError(path_ + ": cannot listen there: " + strerror(reason));
    }
    (void)lstat(path_.c_str(), &made_);
  }

  ~ListeningSocket() override {
    // Another hub's may stand there by now, or the folder may be gone.
    if (!is_ours()) return;
    std::unique_ptr<PathLock> lock;
    try {
      lock = std::make_unique<PathLock>(path_);
    } catch (const InputError& error) {
      // It only keeps others of this user away, for the moment between the look and the removal.
      say_(std::string(error.what()) + "; the socket is removed all the same");
    }
    if (is_ours()) (void)unlink(path_.c_str());
  }

  int descriptor() const override { return socket_.get(); }

  Arrival accept() override {
    Arrival came;
    came.connection = UniqueFd(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!came.connection) {
      came.no_room = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
      return came;
    }
    const ucred peer = peer_of(came.connection.get());
    came.process = peer.pid;
    if (peer.uid != geteuid() && peer.uid != 0) {
      came.connection.reset();
      came.complaint = "a client of another user was refused";
    }
    return came;
  }

 private:
  bool is_ours() const {
    struct stat found {};
    return lstat(path_.c_str(), &found) == 0 && found.st_dev == made_.st_dev && found.st_ino == made_.st_ino;
  }

  std::string path_;
  std::function<void(const std::string& line)> say_;
  UniqueFd socket_;
  struct stat made_ {};
};

class ControlSocket final : public ConnectionSource {
 public:
  explicit ControlSocket(UniqueFd socket) : socket_(std::move(socket)) {}
  int descriptor() const override { return socket_.get(); }
  Arrival accept() override {
    Arrival came;
    auto received = receive_descriptor(socket_.get());
    came.is_last = !received;
    if (received) came.connection = *std::move(received);
    return came;
  }

 private:
  UniqueFd socket_;
};

}  // namespace

std::unique_ptr<ConnectionSource> listen_at(const std::string& path, std::function<void(const std::string& line)> say) {
  return std::make_unique<ListeningSocket>(path, std::move(say));
}

std::unique_ptr<ConnectionSource> connections_from(UniqueFd control) {
  return std::make_unique<ControlSocket>(std::move(control));
}

}  // namespace kelvane_hub
