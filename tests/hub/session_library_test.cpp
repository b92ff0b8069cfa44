// libkelvanesession as a client sees it, with a hub at the other end that says what the test wants.

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "hub/base/child.h"
#include "hub/base/process.h"
#include "hub/base/unique_fd.h"
#include "hub/wire/frame.h"
#include "tests/temporary_folder.h"

namespace kelvane_hub {
namespace {

using com::tarn::kelvane::session::V1_0::ISession;
using com::tarn::kelvane::session::V1_0::sessionFactory;
using namespace std::chrono_literals;

constexpr suid sensor{1, 2};
constexpr auto deadline = 30s;

std::unique_ptr<ISession> new_session() { return std::unique_ptr<ISession>(sessionFactory().getSession(-1)); }

/// What a signal does while this lives.
class SignalAction {
 public:
  SignalAction(int signal, void (*action)(int)) : signal_(signal), before_(std::signal(signal, action)) {}
  SignalAction(const SignalAction&) = delete;
  SignalAction& operator=(const SignalAction&) = delete;
  ~SignalAction() { (void)std::signal(signal_, before_); }

 private:
  int signal_;
  void (*before_)(int);
};

/// Listens where KELVANE_HUB_SOCKET points; the test takes each connection by hand.
class SessionLibrary : public testing::Test {
 protected:
  void SetUp() override {
    (void)setenv("KELVANE_HUB_SOCKET", path_.c_str(), 1);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.string().copy(address.sun_path, sizeof address.sun_path - 1);
    listener_ = UniqueFd(socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener_.get(), 8), 0);
  }
  void TearDown() override { (void)unsetenv("KELVANE_HUB_SOCKET"); }

  UniqueFd accept() { return UniqueFd(::accept(listener_.get(), nullptr, nullptr)); }

  /// Opens `session` while the hub's side says `greeting`; returns what open() returned and keeps the hub's end.
  int open(ISession& session, const std::string& greeting = encode_hello()) {
    auto opened = std::async(std::launch::async, [&session] { return session.open(); });
    hub_ = accept();
    say(greeting);
    return opened.get();
  }

  void say(const std::string& bytes) {
    ASSERT_EQ(send(hub_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  void deliver(const std::string& event, suid from = sensor) { say(encode_frame(FrameKind::event, from, event)); }

  const cellscope::test::TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "hub";
  UniqueFd listener_;
  UniqueFd hub_;
};

/// Collects what comes and lets the test wait for it.
class Inbox {
 public:
  ISession::event_callback callback() {
    return [this](const std::uint8_t* data, std::size_t size, std::size_t) {
      const std::lock_guard lock(mutex_);
      text_.append(reinterpret_cast<const char*>(data), size);
      came_.notify_all();
    };
  }
  /// Everything so far, once it ends with `end`.
  std::string until(const std::string& end) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(came_.wait_for(lock, deadline, [&] { return text_.ends_with(end); })) << text_;
    return text_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::string text_;
};

/// The place in the table of virtual functions: what a pointer to a member function holds, less the bit that some
/// processors' compilers set to tell it from an address.
template <class Function>
std::uintptr_t slot(Function function) {
  std::uintptr_t word = 0;
  std::memcpy(&word, &function, sizeof word);
  return word / sizeof(void*);
}

TEST(Interface, VirtualFunctionsStandInTheOrderOfThePlatform) {
  EXPECT_EQ(slot(&ISession::open), 0U);
  EXPECT_EQ(slot(&ISession::close), 1U);
  EXPECT_EQ(slot(&ISession::register_callback), 2U);
  EXPECT_EQ(slot(&ISession::send_request), 3U);
}

TEST_F(SessionLibrary, EventsReachTheirSensorsCallbackOnce) {
  const auto session = new_session();
  Inbox first;
  Inbox second;
  EXPECT_NE(session->register_callback(sensor, {}, {}, {}), 0);
  EXPECT_EQ(session->register_callback(sensor, {}, {}, first.callback()), 0);
  EXPECT_NE(session->send_request(sensor, "before open"), 0);
  ASSERT_NE(open(*session), -1);
  deliver("a");
  EXPECT_EQ(first.until("a"), "a");
  EXPECT_EQ(session->register_callback(sensor, {}, {}, second.callback()), 0);
  EXPECT_EQ(session->register_callback(sensor, {}, {}, second.callback()), 0);
  deliver("x", {9, 9});
  deliver("b");
  EXPECT_EQ(second.until("b"), "b");
  EXPECT_EQ(first.until("a"), "a");
  EXPECT_NE(session->send_request(sensor, std::string(max_request + 1, 'x')), 0);
  EXPECT_EQ(session->send_request(sensor, "request"), 0);
  std::string sent(4096, '\0');
  const std::string expected = encode_hello() + encode_frame(FrameKind::request, sensor, "request");
  ASSERT_EQ(recv(hub_.get(), sent.data(), expected.size(), MSG_WAITALL), static_cast<ssize_t>(expected.size()));
  EXPECT_EQ(sent.substr(0, expected.size()), expected);
  session->close();
  EXPECT_NE(session->send_request(sensor, "after close"), 0);
  EXPECT_EQ(session->open(), -1);
}

TEST_F(SessionLibrary, CallbacksRunOnAThreadThatBlocksAllSignals) {
  const auto session = new_session();
  std::promise<std::pair<std::thread::id, bool>> ran;
  session->register_callback(sensor, {}, {}, [&ran](const std::uint8_t*, std::size_t, std::size_t) {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    ran.set_value({std::this_thread::get_id(), sigismember(&blocked, SIGINT) == 1});
  });
  ASSERT_NE(open(*session), -1);
  deliver("x");
  const auto [thread, blocked] = ran.get_future().get();
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_TRUE(blocked);
}

TEST_F(SessionLibrary, ACallbackMayCloseAndDeleteItsOwnSession) {
  auto session = new_session();
  std::promise<void> deleted;
  session->register_callback(sensor, {}, {}, [&](const std::uint8_t*, std::size_t, std::size_t) {
    session->close();
    session.reset();
    deleted.set_value();
  });
  ASSERT_NE(open(*session), -1);
  deliver("x");
  EXPECT_EQ(deleted.get_future().wait_for(deadline), std::future_status::ready);
}

TEST_F(SessionLibrary, CloseWaitsForTheCallbackThatRuns) {
  const auto session = new_session();
  std::promise<void> entered;
  std::promise<void> leave;
  std::atomic<int> finished = 0;
  session->register_callback(sensor, {}, {}, [&](const std::uint8_t*, std::size_t, std::size_t) {
    entered.set_value();
    leave.get_future().wait();
    ++finished;
  });
  ASSERT_NE(open(*session), -1);
  deliver("1");
  deliver("2");
  entered.get_future().wait();
  auto closing = std::async(std::launch::async, [&] {
    session->close();
    return finished.load();
  });
  EXPECT_EQ(closing.wait_for(50ms), std::future_status::timeout);
  leave.set_value();
  EXPECT_EQ(closing.get(), 1) << "the second event came after close()";
}

TEST_F(SessionLibrary, AHubThatGoesOrTalksNonsenseEndsTheSession) {
  for (const char* last_words : {"", "KEL", "garbage"}) {
    const auto session = new_session();
    ASSERT_NE(open(*session), -1);
    say(last_words);
    hub_.reset();
    const auto give_up = std::chrono::steady_clock::now() + deadline;
    while (session->open() != -1 && std::chrono::steady_clock::now() < give_up) std::this_thread::yield();
    EXPECT_EQ(session->open(), -1);
    EXPECT_NE(session->send_request(sensor, "x"), 0);
  }
}

TEST_F(SessionLibrary, ASignalShortensTheWaitForTheHub) {
  const SignalAction noticed(SIGUSR1, [](int) {});
  ASSERT_EQ(listen(listener_.get(), 0), 0);  // room for one
  for (const std::string missed : {"say hello", "take the connection"}) {
    const auto session = new_session();
    testing::internal::CaptureStderr();
    std::promise<int> opened;
    std::thread opener([&] { opened.set_value(session->open()); });
    auto result = opened.get_future();
    while (result.wait_for(10ms) != std::future_status::ready) pthread_kill(opener.native_handle(), SIGUSR1);
    opener.join();
    EXPECT_EQ(result.get(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "libkelvanesession: no session with the hub at " +
                                                          path_.string() + ": it did not " + missed +
                                                          " before a signal interrupted the wait\n");
  }
}

TEST_F(SessionLibrary, AForkedChildLeavesItsParentsSessionAlone) {
  auto session = new_session();
  Inbox inbox;
  session->register_callback(sensor, {}, {}, inbox.callback());
  ASSERT_NE(open(*session), -1);
  const pid_t child = fork();
  if (child == 0) {
    alarm(30);
    const bool refused = session->open() == -1 && session->send_request(sensor, "x") != 0;
    session.reset();
    _exit(refused ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  deliver("a");
  EXPECT_EQ(inbox.until("a"), "a");
}

TEST(PrivateHub, EndsWithItsClientThoughAForkOfThatLives) {
  int said[2];
  int life[2];
  ASSERT_EQ(pipe(said), 0);
  ASSERT_EQ(pipe(life), 0);
  const pid_t client = fork();
  if (client == 0) {
    dup2(said[1], STDERR_FILENO);
    close(said[1]);
    close(life[1]);
    const int opened = new_session().release()->open();
    if (fork() == 0) {
      close(STDERR_FILENO);
      char byte = 0;
      _exit(static_cast<int>(read(life[0], &byte, 1)));
    }
    _exit(opened == -1 ? 1 : 0);
  }
  const UniqueFd lives(life[1]);
  close(life[0]);
  close(said[1]);
  int status = -1;
  EXPECT_EQ(waitpid(client, &status, 0), client);
  EXPECT_EQ(status, 0);
  pollfd end{said[0], POLLIN, 0};
  ASSERT_EQ(poll(&end, 1, std::chrono::milliseconds(deadline).count()), 1) << "the hub lives";
  char byte = 0;
  EXPECT_EQ(read(said[0], &byte, 1), 0);
  close(said[0]);
}

/// As on an old kernel, for the calling thread. Returns false if that cannot be had.
bool without_pidfds() {
  sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{std::size(filter), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

std::string end_of(std::vector<std::string> words, bool kill) {
  Launch launch(std::move(words));
  launch.detach_from_signals();
  pid_t process = -1;
  EXPECT_EQ(launch.start(process), 0);
  Child child(process);
  if (kill) {
    EXPECT_FALSE(child.wait_for_end({}));
    child.kill();
  }
  EXPECT_TRUE(child.wait_for_end(deadline));
  return child.how_it_ended();
}

void expect_ends() {
  for (const bool ignored : {false, true}) {
    const SignalAction at_end_of_child(SIGCHLD, ignored ? SIG_IGN : SIG_DFL);
    EXPECT_EQ(end_of({"sh", "-c", "exit 3"}, false), ignored ? "it ended" : "it ended with exit status 3");
    EXPECT_EQ(end_of({"sleep", "1000"}, true), ignored ? "it ended" : "it was ended by signal 9");
  }
}

TEST(Child, EndsAreNoticed) { expect_ends(); }

TEST(Child, EndsAreNoticedByOldKernels) {
  bool possible = false;
  std::thread([&possible] {
    if ((possible = without_pidfds())) expect_ends();
  }).join();
  if (!possible) GTEST_SKIP() << "no filter of system calls";
}

}  // namespace
}  // namespace kelvane_hub
