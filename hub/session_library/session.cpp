// The stand-in session library: each session is a connection to a hub in another process.

#include "kelvane/session.h"

#include "hub/base/diagnostic.h"
#include "hub/session_library/channel.h"

namespace kelvane_hub {
namespace {

using com::tarn::kelvane::session::V1_0::ISession;

constexpr int done = 0;
constexpr int failed = -1;

class HubSession final : public ISession {
 public:
  int open() override;
  int close() override;
  int register_callback(suid id, callback first, callback second, event_callback on_event) override;
  int send_request(suid id, const std::string& request) override;

 private:
  std::shared_ptr<Callbacks> callbacks_ = std::make_shared<Callbacks>();
  std::unique_ptr<Channel> channel_;
};

int HubSession::open() {
  // A session that was closed, or whose hub is gone, stays closed.
  if (channel_) return channel_->stopped() ? failed : done;
  try {
    channel_ = std::make_unique<Channel>(connect_to_hub(), callbacks_);
    channel_->begin();
    return done;
  } catch (const std::exception& error) {
    channel_.reset();
    diagnose(library_speaker, error.what());
    return failed;
  }
}

int HubSession::close() {
  if (channel_) channel_->stop();
  return done;
}

int HubSession::register_callback(suid id, callback, callback, event_callback on_event) try {
  if (!on_event) return failed;
  callbacks_->set(id, std::move(on_event));
  return done;
} catch (...) {
  return failed;
}

int HubSession::send_request(suid id, const std::string& request) try {
  return channel_ && channel_->send(id, request) ? done : failed;
} catch (...) {
  return failed;
}

}  // namespace
}  // namespace kelvane_hub

namespace com::tarn::kelvane::session::V1_0 {

[[gnu::visibility("default")]] ISession* sessionFactory::getSession(int) try {
  return new kelvane_hub::HubSession;
} catch (...) {
  return nullptr;
}

}  // namespace com::tarn::kelvane::session::V1_0
