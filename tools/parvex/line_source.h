// Where the shell's lines come from: a file or pipe, the text of a command-line
// argument, or the terminal through the line editor.
//
// The terminal source uses libedit: emacs-style editing, a prompt and a
// continuation prompt, and a history that persists in ~/.parvex_history (one
// entry per non-blank line, at most kHistorySize entries, saved after every
// entry so a crash loses nothing). Ctrl-C at the prompt abandons the line and
// reports kInterrupted; Ctrl-D on an empty line ends the input.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace parvex::shell {

class LineSource {
 public:
  enum class Status { kLine, kEnd, kInterrupted };

  virtual ~LineSource() = default;
  // Reads one line without its line end. `continuation` asks for the
  // continuation prompt (a statement is under way).
  virtual Status ReadLine(bool continuation, std::string* line) = 0;
  virtual bool IsInteractive() const { return false; }
};

// Lines of a stream (standard input or a .read file); the stream stays the caller's.
class StreamLineSource : public LineSource {
 public:
  explicit StreamLineSource(std::FILE* stream) : mStream(stream) {}
  ~StreamLineSource() override;
  Status ReadLine(bool continuation, std::string* line) override;

 private:
  std::FILE* mStream;
  char* mBuffer = nullptr;
  size_t mCapacity = 0;
};

// Lines of a text held in memory (an SQL argument).
class TextLineSource : public LineSource {
 public:
  explicit TextLineSource(std::string text) : mText(std::move(text)) {}
  Status ReadLine(bool continuation, std::string* line) override;

 private:
  std::string mText;
  size_t mPos = 0;
};

// The terminal, through libedit.
class EditLineSource : public LineSource {
 public:
  static constexpr int kHistorySize = 1000;

  // `historyPath` empty: no persistent history.
  explicit EditLineSource(std::string historyPath);
  ~EditLineSource() override;
  Status ReadLine(bool continuation, std::string* line) override;
  bool IsInteractive() const override { return true; }

  const char* Prompt() const { return mPrompt; }

 private:
  struct Editor;
  std::unique_ptr<Editor> mEditor;
  std::string mHistoryPath;
  const char* mPrompt = "";
};

// ~/.parvex_history, or empty when HOME is not set.
std::string DefaultHistoryPath();

}  // namespace parvex::shell
