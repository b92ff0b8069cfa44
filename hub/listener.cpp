#include "hub/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "hub/descriptor_passing.h"
#include "hub/input_error.h"

namespace kelvane_hub {
namespace {

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    throw InputError(path + ": expected a socket path of 1 to " + std::to_string(sizeof address.sun_path - 1) +
                     " bytes, found one of " + std::to_string(path.size()));
  }
  path.copy(address.sun_path, path.size());
  return address;
}

UniqueFd new_socket() { return UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

/// Makes room at `path` if all that stands there is the socket of a hub that is gone.
void remove_stale(const std::string& path, const sockaddr_un& address) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  if (!S_ISSOCK(status.st_mode)) throw InputError(path + ": expected a free path or a socket, found another file");
  const UniqueFd probe = new_socket();
  if (connect(probe.get(), generic(address), sizeof address) == 0) {
    throw InputError(path + ": expected a free path, found a socket that a running hub listens on");
  }
  if (errno != ECONNREFUSED) throw InputError(path + ": cannot tell whether its socket is in use: " + strerror(errno));
  (void)unlink(path.c_str());
}

bool is_own_user(int connection) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && (peer.uid == geteuid() || peer.uid == 0);
}

class ListeningSocket final : public ConnectionSource {
 public:
  explicit ListeningSocket(std::string path) : path_(std::move(path)), socket_(new_socket()) {
    const sockaddr_un address = address_of(path_);
    remove_stale(path_, address);
    const mode_t before = umask(S_IRWXG | S_IRWXO | S_IXUSR);
    const int bound = bind(socket_.get(), generic(address), sizeof address);
    const int error = errno;
    umask(before);
    if (bound != 0) throw InputError(path_ + ": cannot listen there: " + strerror(error));
    bound_ = true;
    if (listen(socket_.get(), SOMAXCONN) != 0) throw InputError(path_ + ": cannot listen there: " + strerror(errno));
  }

  ~ListeningSocket() override {
    if (bound_) (void)unlink(path_.c_str());
  }

  int descriptor() const override { return socket_.get(); }

  std::optional<UniqueFd> accept() override {
    UniqueFd connection(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection && !is_own_user(connection.get())) {
      (void)std::fprintf(stderr, "kelvane-hub: a client of another user was refused\n");
      connection.reset();
    }
    return connection;
  }

 private:
  std::string path_;
  UniqueFd socket_;
  bool bound_ = false;
};

class ControlSocket final : public ConnectionSource {
 public:
  explicit ControlSocket(UniqueFd socket) : socket_(std::move(socket)) {}
  int descriptor() const override { return socket_.get(); }
  std::optional<UniqueFd> accept() override { return receive_descriptor(socket_.get()); }

 private:
  UniqueFd socket_;
};

}  // namespace

std::unique_ptr<ConnectionSource> listen_at(const std::string& path) { return std::make_unique<ListeningSocket>(path); }

std::unique_ptr<ConnectionSource> connections_from(UniqueFd control) {
  return std::make_unique<ControlSocket>(std::move(control));
}

}  // namespace kelvane_hub
