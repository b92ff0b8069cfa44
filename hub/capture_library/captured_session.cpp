#include "hub/capture_library/captured_session.h"

#include <string>
#include <string_view>
#include <utility>

namespace kelvane_hub {
namespace {

using com::tarn::kelvane::suid;
using com::tarn::kelvane::session::V1_0::ISession;

constexpr int open_failed = -1;
constexpr int not_registered = -1;

/// Each function holds what it uses: a signal handler or another thread may delete the session meanwhile, as they may
/// the one inside.
class CapturedSession final : public ISession {
 public:
  CapturedSession(std::unique_ptr<ISession> inner, CaptureFile& file) : inner_(std::move(inner)), file_(file) {}

  int open() override {
    const auto [inner, number, file] = held();
    const int result = inner->open();
    if (result != open_failed) file.number(*number);
    return result;
  }

  int close() override {
    const auto inner = inner_;
    return inner->close();
  }

  int register_callback(suid id, callback first, callback second, event_callback on_event) override try {
    const auto inner = inner_;
    return inner->register_callback(id, std::move(first), std::move(second),
                                    on_event ? captured(id, std::move(on_event)) : event_callback());
  } catch (...) {
    return not_registered;
  }

  int send_request(suid id, const std::string& request) override {
    const auto [inner, number, file] = held();
    file.append(Direction::request, *number, id, request);
    return inner->send_request(id, request);
  }

 private:
  struct Held {
    std::shared_ptr<ISession> inner;
    std::shared_ptr<SessionNumber> number;
    CaptureFile& file;
  };
  Held held() const { return {inner_, number_, file_}; }

  /// Does not hold the session, which a callback may delete.
  event_callback captured(suid id, event_callback on_event) const {
    return [id, on_event = std::move(on_event), number = number_, &file = file_](const std::uint8_t* data,
                                                                                 std::size_t size, std::size_t third) {
      file.append(Direction::event, *number, id, {reinterpret_cast<const char*>(data), size});
      on_event(data, size, third);
    };
  }

  const std::shared_ptr<ISession> inner_;
  const std::shared_ptr<SessionNumber> number_ = std::make_shared<SessionNumber>();
  CaptureFile& file_;
};

}  // namespace

std::unique_ptr<ISession> capture_session(std::unique_ptr<ISession> inner, CaptureFile& file) {
  return std::make_unique<CapturedSession>(std::move(inner), file);
}

}  // namespace kelvane_hub
