#include "hub/server/controllers.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "hub/base/concat.h"
#include "hub/capture/wire_line.h"

namespace kelvane_hub {
namespace {

constexpr std::size_t most_controllers = 16;
constexpr std::size_t longest_line = std::size_t{64} << 10;

// In one turn, so that others get theirs.
constexpr int most_lines = 16;
constexpr std::size_t most_written = std::size_t{1} << 20;

// Of one with more than this waiting no line is taken.
constexpr std::size_t deaf_from = std::size_t{64} << 10;

// For one who monitors.
constexpr std::size_t most_heard = std::size_t{8} << 20;

constexpr Time door_time = std::chrono::seconds(1);

// For those who monitor, at the end.
constexpr Time patience = std::chrono::seconds(1);

}  // namespace

bool Controllers::Controller::is_deaf() const { return unsent.size() >= deaf_from; }

void Controllers::Controller::tell_lost() {
  if (lost != 0) unsent += concat("lost ", std::exchange(lost, 0), "\n");
}

Controllers::Controllers(Loop& loop, std::unique_ptr<ConnectionSource> source, Answer answer, Voice& voice)
    : loop_(loop),
      source_(std::move(source)),
      answer_(std::move(answer)),
      voice_(voice),
      door_(loop.add(source_->descriptor(), [this](bool, bool, Time now) { take_connection(now); })) {
  loop_.at_end_of_turn([this] { settle(); });
}

Controllers::~Controllers() {
  const Time end = Loop::now() + patience;
  for (auto& [number, controller] : controllers_) controller.tell_lost();
  for (auto waiting = unfinished(); !waiting.empty(); waiting = unfinished()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Loop::now());
    if (left.count() <= 0 || poll(waiting.data(), waiting.size(), static_cast<int>(left.count())) <= 0) return;
    for (auto& [number, controller] : controllers_) write(controller);
  }
}

/// Those who monitor and have not taken all.
std::vector<pollfd> Controllers::unfinished() {
  std::vector<pollfd> waiting;
  for (const auto& [number, controller] : controllers_) {
    if (controller.is_monitor && !controller.unsent.empty()) waiting.push_back({controller.socket.get(), POLLOUT, 0});
  }
  return waiting;
}

void Controllers::take_connection(Time now) {
  Arrival came = source_->accept();
  if (!came.complaint.empty()) voice_.say(About::clients, came.complaint);
  if (came.no_room) {
    door_due_ = now + door_time;
    open_door(false);
  }
  if (!came.connection) return;
  const int socket = came.connection.get();
  (void)fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
  const std::uint64_t number = ++last_;
  const auto entry = loop_.add(socket, [this, number](bool readable, bool writable, Time time) {
    Controller& controller = controllers_.at(number);
    if (writable) write(controller);
    // What can be read though nobody waits for that is the end.
    if (readable && !controller.interest.read) stop_answering(controller);
    if (readable && controller.interest.read) read(controller);
    take_lines(controller, time);
  });
  controllers_.try_emplace(number, Controller{std::move(came.connection), entry});
  if (controllers_.size() == most_controllers) open_door(false);
}

void Controllers::open_door(bool is_open) { loop_.want(door_, {.read = is_open, .write = false}); }

/// Nobody is there to take an answer. What was said before is carried out all the same.
void Controllers::stop_answering(Controller& controller) {
  controller.is_gone = true;
  controller.is_monitor = false;
  controller.lost = 0;
  controller.unsent.clear();
}

void Controllers::read(Controller& controller) {
  std::array<char, 16384> buffer;
  const ssize_t received = recv(controller.socket.get(), buffer.data(), buffer.size(), 0);
  if (received == -1 && (errno == EAGAIN || errno == EINTR)) return;
  if (received == -1) stop_answering(controller);
  if (received <= 0) {
    controller.is_last = true;
    if (controller.is_monitor) stop_answering(controller);
    // The last line may lack its end.
    if (!controller.unread.empty() && !controller.unread.ends_with('\n')) controller.unread += '\n';
    return;
  }
  controller.unread.append(buffer.data(), static_cast<std::size_t>(received));
}

void Controllers::take_lines(Controller& controller, Time now) {
  for (int taken = 0; taken < most_lines && !controller.is_deaf(); ++taken) {
    const std::size_t end = controller.unread.find('\n');
    if (std::min(end, controller.unread.size()) > longest_line) {
      controller.unsent += concat("KO: expected a line of at most ", longest_line, " bytes, found a longer one\n");
      controller.unread.clear();
      controller.is_last = true;
    }
    if (end == std::string::npos || controller.unread.empty()) return;
    const std::string line = controller.unread.substr(0, end);
    controller.unread.erase(0, end + 1);
    const bool is_to_monitor = line == "monitor";
    const std::string answer = is_to_monitor ? "OK\n" : answer_(line, now);
    if (controller.is_gone) continue;
    controller.is_monitor = controller.is_monitor || is_to_monitor;
    controller.unsent += answer;
  }
}

bool Controllers::is_listening() const {
  return std::ranges::any_of(controllers_, [](const auto& entry) { return entry.second.is_monitor; });
}

void Controllers::hear(const Heard& message) {
  std::string line;
  for (auto& [number, controller] : controllers_) {
    if (!controller.is_monitor) continue;
    // A byte is two digits there.
    if (controller.is_deaf() && controller.unsent.size() + 2 * message->message.size() > most_heard) {
      ++controller.lost;
      continue;
    }
    if (line.empty()) line = to_line(*message);
    controller.tell_lost();
    controller.unsent += line;
  }
}

void Controllers::write(Controller& controller) {
  std::size_t written = 0;
  for (std::string_view left = controller.unsent.view().substr(0, most_written); !left.empty();) {
    const ssize_t sent = ::send(controller.socket.get(), left.data(), left.size(), MSG_NOSIGNAL);
    if (sent == -1 && errno == EINTR) continue;
    if (sent == -1 && errno != EAGAIN) return stop_answering(controller);
    if (sent == -1) break;
    left.remove_prefix(static_cast<std::size_t>(sent));
    written += static_cast<std::size_t>(sent);
  }
  controller.unsent.drop(written);
}

std::optional<Time> Controllers::next_due() const {
  const auto has_more = [](const auto& entry) { return entry.second.has_line() && !entry.second.is_deaf(); };
  if (std::ranges::any_of(controllers_, has_more)) return Time::zero();
  return door_due_;
}

void Controllers::advance(Time now) {
  for (auto& [number, controller] : controllers_) {
    if (controller.has_line()) take_lines(controller, now);
  }
  if (!door_due_ || *door_due_ > now) return;
  door_due_.reset();
  open_door(controllers_.size() < most_controllers);
}

void Controllers::settle() {
  for (auto entry = controllers_.begin(); entry != controllers_.end();) {
    if (settle(entry->second)) {
      ++entry;
      continue;
    }
    loop_.remove(entry->second.entry);
    entry = controllers_.erase(entry);
    if (!door_due_) open_door(true);
  }
}

/// Returns whether it goes on.
bool Controllers::settle(Controller& controller) {
  if (controller.unsent.empty()) controller.tell_lost();
  // Whoever is waited for to take more is not tried in between.
  if (!controller.interest.write) write(controller);
  if (controller.is_last && controller.unsent.empty() && !controller.has_line()) return false;
  const bool hears = !controller.is_last && !controller.is_deaf() && !controller.has_line();
  const Interest interest{.read = hears, .write = !controller.unsent.empty()};
  if (interest != controller.interest) loop_.want(controller.entry, interest);
  controller.interest = interest;
  return true;
}

}  // namespace kelvane_hub
