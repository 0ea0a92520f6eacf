// Line sources: streams, argument text and the libedit terminal editor.
#include "line_source.h"

#include <histedit.h>
#include <langinfo.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "interrupt.h"

namespace parvex::shell {
namespace {

constexpr char kPrompt[] = "parvex> ";
constexpr char kContinuationPrompt[] = "   ...> ";

bool IsBlankLine(const std::string& line) {
  return line.find_first_not_of(" \t\r\n") == std::string::npos;
}

// libedit calls plain functions; the source is its client data.
EditLineSource* SourceOf(EditLine* el) {
  void* data = nullptr;
  el_get(el, EL_CLIENTDATA, &data);
  return static_cast<EditLineSource*>(data);
}

char* PromptOf(EditLine* el) { return const_cast<char*>(SourceOf(el)->Prompt()); }

unsigned char CompleteOf(EditLine* el, int) { return SourceOf(el)->CompleteWord(); }

// Waits until standard input has a byte to read; false when Ctrl-C came
// first. SIGINT is let through only inside ppoll, so a Ctrl-C that arrives
// just before the wait is not lost (a plain read would block until the next
// key).
bool WaitForInput() {
  sigset_t interrupt, saved;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  pthread_sigmask(SIG_BLOCK, &interrupt, &saved);
  bool ready = false;
  while (!InterruptRequested()) {
    sigset_t waiting = saved;
    sigdelset(&waiting, SIGINT);
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    if (ppoll(&input, 1, nullptr, &waiting) > 0 || (errno != EINTR && errno != EAGAIN)) {
      ready = true;
      break;
    }
  }
  pthread_sigmask(SIG_SETMASK, &saved, nullptr);
  return ready;
}

// The editor's character reader. libedit's own reader restarts a read that a
// signal interrupted, which would swallow Ctrl-C; this one ends the line
// instead (el_gets then returns null). Bytes are decoded as the locale's
// multibyte text; a byte that does not decode is taken as it stands.
int ReadTerminalChar(EditLine*, wchar_t* out) {
  std::mbstate_t state{};
  for (;;) {
    if (!WaitForInput()) return -1;
    char byte = 0;
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count == 0) return 0;
    if (count < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return -1;
    }
    wchar_t c = 0;
    const size_t used = std::mbrtowc(&c, &byte, 1, &state);
    if (used == static_cast<size_t>(-2)) continue;  // more bytes to come
    if (used == static_cast<size_t>(-1)) {
      state = std::mbstate_t{};
      c = static_cast<unsigned char>(byte);
    }
    *out = c;
    return 1;
  }
}

// Statements are UTF-8 text: the terminal is read as UTF-8 even when the
// environment names no such locale.
void UseUtf8Terminal() {
  std::setlocale(LC_CTYPE, "");
  if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_CTYPE, "C.UTF-8");
}

}  // namespace

StreamLineSource::~StreamLineSource() { std::free(mBuffer); }

LineSource::Status StreamLineSource::ReadLine(bool, std::string* line) {
  errno = 0;
  const ssize_t length = getline(&mBuffer, &mCapacity, mStream);
  if (length < 0) {
    if (errno == EINTR || InterruptRequested()) {
      std::clearerr(mStream);
      return Status::kInterrupted;
    }
    return Status::kEnd;
  }
  line->assign(mBuffer, static_cast<size_t>(length));
  if (!line->empty() && line->back() == '\n') line->pop_back();
  return Status::kLine;
}

LineSource::Status TextLineSource::ReadLine(bool, std::string* line) {
  if (mPos >= mText.size()) return Status::kEnd;
  size_t end = mText.find('\n', mPos);
  if (end == std::string::npos) end = mText.size();
  line->assign(mText, mPos, end - mPos);
  mPos = end + 1;
  return Status::kLine;
}

struct EditLineSource::Editor {
  EditLine* el = nullptr;
  History* history = nullptr;
  HistEvent event{};

  ~Editor() {
    if (el) el_end(el);
    if (history) history_end(history);
  }
};

std::string DefaultHistoryPath() {
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') return std::string();
  return std::string(home) + "/.parvex_history";
}

EditLineSource::EditLineSource(std::string historyPath)
    : mEditor(std::make_unique<Editor>()), mHistoryPath(std::move(historyPath)) {
  // The editor writes its prompt and echo to the terminal; when standard
  // output is redirected, to standard error, so results stay clean.
  std::FILE* out = isatty(STDOUT_FILENO) ? stdout : stderr;
  mOut = out;
  UseUtf8Terminal();
  mEditor->el = el_init("parvex", stdin, out, stderr);
  mEditor->history = history_init();
  history(mEditor->history, &mEditor->event, H_SETSIZE, kHistorySize);
  history(mEditor->history, &mEditor->event, H_SETUNIQUE, 1);
  if (!mHistoryPath.empty()) history(mEditor->history, &mEditor->event, H_LOAD, mHistoryPath.c_str());
  el_set(mEditor->el, EL_CLIENTDATA, this);
  el_set(mEditor->el, EL_PROMPT, PromptOf);
  el_set(mEditor->el, EL_EDITOR, "emacs");
  el_set(mEditor->el, EL_GETCFN, ReadTerminalChar);
  el_set(mEditor->el, EL_HIST, history, mEditor->history);
  // The wide form: the narrow one copies the two texts and never frees them.
  el_wset(mEditor->el, EL_ADDFN, L"parvex-complete", L"Complete the word before the cursor", CompleteOf);
  el_wset(mEditor->el, EL_BIND, L"^I", L"parvex-complete", nullptr);
  el_source(mEditor->el, nullptr);  // the user's ~/.editrc, when there is one
}

EditLineSource::~EditLineSource() { EnterHistory(); }

void EditLineSource::EnterHistory() {
  if (mEntry.empty()) return;
  history(mEditor->history, &mEditor->event, H_ENTER, mEntry.c_str());
  if (!mHistoryPath.empty()) history(mEditor->history, &mEditor->event, H_SAVE, mHistoryPath.c_str());
  mEntry.clear();
}

unsigned char EditLineSource::CompleteWord() {
  const LineInfo* info = el_line(mEditor->el);
  const std::string_view line(info->buffer, static_cast<size_t>(info->lastchar - info->buffer));
  const Completion completion =
      Complete(line, static_cast<size_t>(info->cursor - info->buffer), mNames ? mNames() : CompletionNames());
  if (!completion.insert.empty()) {
    el_insertstr(mEditor->el, completion.insert.c_str());
    return CC_REFRESH;
  }
  if (completion.choices.empty()) return CC_REFRESH_BEEP;
  std::string list = "\n";
  for (const std::string& choice : completion.choices) list += choice + "  ";
  list += "\n";
  std::fputs(list.c_str(), mOut);
  return CC_REDISPLAY;
}

LineSource::Status EditLineSource::ReadLine(bool continuation, std::string* line) {
  if (!continuation) EnterHistory();
  mPrompt = continuation ? kContinuationPrompt : kPrompt;
  if (TakeWindowResized()) el_resize(mEditor->el);
  int count = 0;
  const char* text = el_gets(mEditor->el, &count);
  if (InterruptRequested()) {
    // Whatever was typed is abandoned; the terminal goes back to normal mode.
    el_reset(mEditor->el);
    return Status::kInterrupted;
  }
  if (text == nullptr || count <= 0) return Status::kEnd;
  line->assign(text, static_cast<size_t>(count));
  if (!line->empty() && line->back() == '\n') line->pop_back();
  if (!IsBlankLine(*line)) {
    if (!mEntry.empty()) mEntry += ' ';
    mEntry += *line;
  }
  return Status::kLine;
}

}  // namespace parvex::shell
