#include "hub/commands/prompt.h"

#include <histedit.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <exception>
#include <new>
#include <utility>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {
namespace {

constexpr int longest_history = 1000;

/// Signals that want the terminal to be as it was found, and SIGWINCH, that it has another size.
sigset_t signals_of_terminals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP, SIGCONT, SIGWINCH}) sigaddset(&signals, signal);
  return signals;
}

/// Without a locale that knows them, all letters but those of English would be dropped.
void use_letters_of_all_languages() {
  if (std::setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1) (void)std::setlocale(LC_CTYPE, "C.UTF-8");
}

/// How many letters a terminal shows, roughly.
std::size_t shown_size(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

/// What all candidates go on with behind what is typed: whole letters of UTF-8.
std::string common_continuation(const Completions& found) {
  const std::string& first = found.candidates.front();
  std::size_t size = first.size();
  for (const std::string& candidate : found.candidates) {
    const auto differs = std::ranges::mismatch(first, candidate).in1;
    size = std::min(size, static_cast<std::size_t>(differs - first.begin()));
  }
  while (size > found.typed && size < first.size() && (first[size] & 0xC0) == 0x80) --size;
  return first.substr(found.typed, size - found.typed);
}

/// As many in a line as the terminal has room for, without the blanks at their ends.
std::string in_columns(std::vector<std::string> texts) {
  winsize terminal{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &terminal) != 0 || terminal.ws_col == 0) terminal.ws_col = 80;
  std::size_t width = 0;
  for (std::string& text : texts) {
    text.resize(text.find_last_not_of(' ') + 1);
    width = std::max(width, shown_size(text) + 2);
  }
  const std::size_t in_a_line = std::max<std::size_t>(1, terminal.ws_col / width);
  std::string lines;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const bool is_last = i + 1 == texts.size() || (i + 1) % in_a_line == 0;
    lines += texts[i] + (is_last ? "\n" : std::string(width - shown_size(texts[i]), ' '));
  }
  return lines;
}

}  // namespace

class Prompt::Editor {
 public:
  explicit Editor(Completer completer);
  std::optional<std::string> read_line();

 private:
  struct Ender {
    void operator()(History* history) const { history_end(history); }
    void operator()(EditLine* line) const {
      // The terminal is as it was found, and what was typed ahead is the next program's.
      el_set(line, EL_EDITMODE, 0);
      el_end(line);
    }
  };

  /// Signals of terminals are read from signals_ while it lives.
  class Typing;
  /// The terminal is as it was found while it lives, and signals do what they always do.
  class Outside;

  static Editor& of(EditLine* line);
  static char* prompt(EditLine*);
  static int read_letter(EditLine* line, wchar_t* letter);
  static unsigned char complete(EditLine* line, int);
  bool read_byte(char& byte);
  void take_signal();
  void show(const std::string& lines);
  unsigned char complete_line();

  Completer completer_;
  std::exception_ptr failure_{};  // of the completer
  termios found_{};
  UniqueFd signals_;
  std::unique_ptr<History, Ender> history_;
  std::unique_ptr<EditLine, Ender> line_{};
};

class Prompt::Editor::Typing {
 public:
  Typing() {
    const sigset_t signals = signals_of_terminals();
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  ~Typing() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  Typing(const Typing&) = delete;
  Typing& operator=(const Typing&) = delete;

 private:
  sigset_t before_{};
};

class Prompt::Editor::Outside {
 public:
  explicit Outside(Editor& editor) : editor_(editor) {
    el_set(editor.line_.get(), EL_PREP_TERM, 0);
    (void)tcsetattr(STDIN_FILENO, TCSADRAIN, &editor.found_);
    const sigset_t signals = signals_of_terminals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  }
  ~Outside() {
    const sigset_t signals = signals_of_terminals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    el_set(editor_.line_.get(), EL_PREP_TERM, 1);
  }
  Outside(const Outside&) = delete;
  Outside& operator=(const Outside&) = delete;

 private:
  Editor& editor_;
};

Prompt::Editor::Editor(Completer completer) : completer_(std::move(completer)), history_(history_init()) {
  const sigset_t signals = signals_of_terminals();
  signals_ = UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  use_letters_of_all_languages();
  const Typing typing;
  // In the background it is somebody else's, and maybe prepared for typing: this stops the program until it is not.
  (void)tcdrain(STDIN_FILENO);
  (void)tcgetattr(STDIN_FILENO, &found_);
  line_.reset(el_init("kelvane-hub", stdin, stdout, stderr));
  (void)tcsetattr(STDIN_FILENO, TCSADRAIN, &found_);
  if (!signals_ || !line_ || !history_) throw std::bad_alloc();
  HistEvent event{};
  history(history_.get(), &event, H_SETSIZE, longest_history);
  history(history_.get(), &event, H_SETUNIQUE, 1);
  EditLine* const line = line_.get();
  el_set(line, EL_CLIENTDATA, this);
  el_set(line, EL_PROMPT, prompt);
  el_set(line, EL_EDITOR, "emacs");
  el_set(line, EL_HIST, history, history_.get());
  // Copies of narrow strings would never be freed.
  el_wset(line, EL_ADDFN, L"complete", L"complete what stands before the cursor", complete);
  el_set(line, EL_BIND, "^I", "complete", nullptr);
  el_wset(line, EL_GETCFN, read_letter);
}

std::optional<std::string> Prompt::Editor::read_line() {
  const Typing typing;
  (void)tcdrain(STDIN_FILENO);
  (void)tcgetattr(STDIN_FILENO, &found_);
  int size = 0;
  const char* const read = el_gets(line_.get(), &size);
  std::optional<std::string> line;
  if (read != nullptr && size > 0) line.emplace(read, static_cast<std::size_t>(size));
  if (!line) (void)std::fputs("\n", stdout);
  (void)std::fflush(stdout);
  (void)tcsetattr(STDIN_FILENO, TCSADRAIN, &found_);
  if (failure_) std::rethrow_exception(std::exchange(failure_, {}));
  if (!line) return line;
  if (line->ends_with('\n')) line->pop_back();
  HistEvent event{};
  if (line->find_first_not_of(' ') != std::string::npos) history(history_.get(), &event, H_ENTER, line->c_str());
  return line;
}

Prompt::Editor& Prompt::Editor::of(EditLine* line) {
  void* editor = nullptr;
  el_get(line, EL_CLIENTDATA, &editor);
  return *static_cast<Editor*>(editor);
}

char* Prompt::Editor::prompt(EditLine*) {
  static char text[] = "> ";
  return text;
}

/// Returns 1, or 0 at the end.
int Prompt::Editor::read_letter(EditLine* line, wchar_t* letter) {
  constexpr auto invalid = static_cast<std::size_t>(-1);
  Editor& editor = of(line);
  std::mbstate_t state{};
  for (char byte = 0; editor.read_byte(byte);) {
    std::size_t size = std::mbrtowc(letter, &byte, 1, &state);
    if (size == invalid) {
      // What was begun is no letter; this may be one.
      state = {};
      size = std::mbrtowc(letter, &byte, 1, &state);
    }
    if (size <= 1) return 1;
    if (size == invalid) state = {};
  }
  return 0;
}

unsigned char Prompt::Editor::complete(EditLine* line, int) { return of(line).complete_line(); }

/// Waits for it, and deals with signals meanwhile. Returns false at the end.
bool Prompt::Editor::read_byte(char& byte) {
  for (;;) {
    std::array<pollfd, 2> come{{{signals_.get(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    if (poll(come.data(), come.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (come[0].revents != 0) {
      take_signal();
      continue;
    }
    const ssize_t size = read(STDIN_FILENO, &byte, 1);
    if (size >= 0 || (errno != EINTR && errno != EAGAIN)) return size > 0;
  }
}

void Prompt::Editor::take_signal() {
  signalfd_siginfo come{};
  if (read(signals_.get(), &come, sizeof come) != sizeof come) return;
  const int signal = static_cast<int>(come.ssi_signo);
  if (signal == SIGWINCH) {
    el_resize(line_.get());
    return;
  }
  {
    const Outside outside(*this);
    (void)raise(signal);
  }
  // The program goes on, maybe in the foreground again.
  show("\r");
}

/// Shows the line that is typed anew behind `lines`.
void Prompt::Editor::show(const std::string& lines) {
  (void)std::fputs(lines.c_str(), stdout);
  el_set(line_.get(), EL_REFRESH);
}

/// No exception may pass through the library.
unsigned char Prompt::Editor::complete_line() try {
  const LineInfo& line = *el_line(line_.get());
  Completions found;
  {
    const Outside outside(*this);
    found = completer_({line.buffer, line.cursor});
  }
  if (found.candidates.empty()) {
    if (found.hint.empty()) return CC_ERROR;
    show("\n" + found.hint + "\n");
    return CC_NORM;
  }
  const std::string more = common_continuation(found);
  if (!more.empty() && el_insertstr(line_.get(), more.c_str()) != 0) return CC_ERROR;
  if (found.candidates.size() == 1) return CC_REFRESH;
  show("\n" + in_columns(std::move(found.candidates)));
  return CC_NORM;
} catch (...) {
  failure_ = std::current_exception();
  return CC_EOF;
}

bool Prompt::is_possible() {
  if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1) return false;
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && *terminal != '\0' && std::string_view(terminal) != "dumb";
}

Prompt::Prompt(Completer completer) : editor_(std::make_unique<Editor>(std::move(completer))) {}

Prompt::~Prompt() = default;

std::optional<std::string> Prompt::read_line() { return editor_->read_line(); }

}  // namespace kelvane_hub
