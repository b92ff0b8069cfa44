#include "fuzz/scripted_session.h"

#include <pthread.h>
#include <unistd.h>

#include <condition_variable>
#include <ctime>
#include <utility>

#include "common/state.h"

namespace cellscope::fuzz {
namespace {

const pthread_t main_thread = pthread_self();
std::string answer_to_all;
ISession::event_callback newest_callback;

void answer() {
  // A copy: the callback may register another.
  const auto callback = newest_callback;
  callback(reinterpret_cast<const std::uint8_t*>(answer_to_all.data()), answer_to_all.size(), 0);
}

class ScriptedSession final : public ISession {
 public:
  int open() override { return 0; }
  int close() override { return 0; }
  int register_callback(suid, callback, callback, event_callback on_event) override {
    newest_callback = std::move(on_event);
    return 0;
  }
  int send_request(suid, const std::string&) override { return 0; }
};

}  // namespace

void start_anew(std::string answer) {
  answer_to_all = std::move(answer);
  session.reset();
  data_type = "wwan";
  sample_rate = 0;
  query_mode = false;
  suid_list.clear();
  sensor_suid = {};
  stream_type = 0;
  attribute_cache.clear();
}

}  // namespace cellscope::fuzz

com::tarn::kelvane::session::V1_0::ISession* com::tarn::kelvane::session::V1_0::sessionFactory::getSession(int) {
  return new cellscope::fuzz::ScriptedSession;
}

// In place of the system's. Nothing but a lookup waits, and it takes any return for its answer: an input without a
// sensor in it ends, too.

void std::condition_variable::wait(std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  cellscope::fuzz::answer();
  lock.lock();
}

extern "C" unsigned sleep(unsigned seconds) {
  if (pthread_equal(pthread_self(), cellscope::fuzz::main_thread) != 0) {
    cellscope::fuzz::answer();
  } else {
    // The fuzzer's own watch over memory.
    const timespec pause{seconds, 0};
    (void)nanosleep(&pause, nullptr);
  }
  return 0;
}
