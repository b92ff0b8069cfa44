// Whom a hub hears, and whom it lets go, when clients want too much of it.

#include "hub/server/clients.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <functional>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

constexpr suid sensor{1, 2};

/// Hands out what the test has connected.
class Source final : public ConnectionSource {
 public:
  int descriptor() const override { return left_.get(); }
  Arrival accept() override {
    eventfd_t one = 0;
    (void)eventfd_read(left_.get(), &one);
    Arrival came = std::move(arrivals_.front());
    arrivals_.pop_front();
    return came;
  }
  void add(Arrival arrival) {
    arrivals_.push_back(std::move(arrival));
    (void)eventfd_write(left_.get(), 1);
  }

 private:
  UniqueFd left_{eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC)};
  std::deque<Arrival> arrivals_;
};

class ClientsTest : public testing::Test, public SessionHandler, public Party {
 protected:
  ClientsTest() { loop_.add(*this); }

  /// A client of `process` that has said hello and sent so many requests; it reads nothing.
  void connect(pid_t process, int requests) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    Arrival arrival;
    arrival.connection = UniqueFd(ends[0]);
    arrival.process = process;
    source_->add(std::move(arrival));
    std::string said = encode_hello();
    for (int i = 0; i < requests; ++i) said += encode_frame(FrameKind::request, sensor, "");
    ASSERT_EQ(send(ends[1], said.data(), said.size(), 0), static_cast<ssize_t>(said.size()));
    peers_.emplace_back(ends[1]);
  }

  /// Does one after the other, each when all that was to come of the one before has come.
  void play(std::vector<std::function<void()>> steps) {
    steps_ = {steps.begin(), steps.end()};
    (void)loop_.run();
  }

  /// Which sessions were heard, one after the other, and which have ended.
  std::string heard() { return std::exchange(heard_, ""); }
  std::string ended() { return std::exchange(ended_, ""); }

  void on_request(const Link& from, const std::string&, Time) override {
    if (std::exchange(last_heard_, from.session) != from.session) heard_ += concat(from.session, " ");
  }
  void on_end(SessionId session) override { ended_ += concat(session, " "); }

  // There is always something to do: no turn waits.
  std::optional<Time> next_due() const override { return Time::zero(); }
  void advance(Time) override {
    constexpr int enough = 32;  // turns; one takes one connection
    if (++turns_ % enough == 0) {
      if (steps_.empty()) return loop_.stop(Outcome::finished);
      steps_.front()();
      steps_.pop_front();
    }
    clients_.advance(now_);
  }

  Loop loop_;
  Voice voice_;
  Source* source_ = new Source;
  Clients clients_{loop_, std::unique_ptr<ConnectionSource>(source_), *this, voice_};
  Time now_{};

 private:
  std::vector<UniqueFd> peers_;
  std::deque<std::function<void()>> steps_;
  int turns_ = 0;
  SessionId last_heard_ = 0;
  std::string heard_;
  std::string ended_;
};

TEST_F(ClientsTest, ProcessesAreHeardInTurnAndSoAreTheirConnections) {
  for (const pid_t process : {7, 7, 7, 8}) connect(process, 32);
  play({[&] { clients_.release(); }});
  EXPECT_EQ(heard(), "1 4 2 3 1 4 2 3 ");
}

TEST_F(ClientsTest, WhileTooMuchWaitsNobodyIsHeardAndTheSlowestHaveToGo) {
  constexpr auto patience = std::chrono::seconds(2);
  constexpr std::size_t half = std::size_t{33} << 20;  // of what a process may leave, and a little more
  for (const pid_t process : {1, 2, 3, 4}) connect(process, 0);
  connect(4, 1);
  connect(5, 1);
  const auto deliver = [&](SessionId session) {
    // Each is of its own.
    for (const std::uint64_t id : {2 * session, 2 * session + 1}) {
      clients_.deliver({session, {id, 0}}, std::string(half, 'x'));
    }
  };
  play({
      [&] { deliver(3); },
      [&] {
        clients_.advance(now_ = Time(1));
        for (const SessionId session : {1U, 2U, 4U}) deliver(session);
        clients_.release();
      },
      [&] { now_ = patience - Time(1); },
      [&] {
        EXPECT_EQ(heard() + "| " + ended(), "| ") << "more than 256 MiB wait, but not for two seconds";
        now_ = patience;
      },
      [&] {
        EXPECT_EQ(heard() + "| " + ended(), "6 | 3 ") << "less wait now, but process 4 leaves more than 64 MiB";
        clients_.cut(4);
      },
  });
  EXPECT_EQ(heard() + "| " + ended(), "5 | 4 ");
}

}  // namespace
}  // namespace kelvane_hub
