// Where the shell's lines come from: a file or pipe, the text of a command-line
// argument, or the terminal through the line editor.
//
// The terminal source uses libedit: emacs-style editing, a prompt and a
// continuation prompt, tab completion (completion.h), and a history that
// persists in ~/.parvex_history (at most kHistorySize entries, saved after
// every entry so a crash loses nothing). A statement typed over several lines
// is one entry, its lines joined by blanks, so that recalling it recalls all
// of it; it is entered when the next statement begins. Ctrl-C at the prompt
// abandons the line and reports kInterrupted; Ctrl-D on an empty line ends
// the input.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "completion.h"

namespace parvex::shell {

class LineSource {
 public:
  enum class Status { kLine, kEnd, kInterrupted };

  virtual ~LineSource() = default;
  // Reads one line without its line end. `continuation` asks for the
  // continuation prompt (a statement is under way).
  virtual Status ReadLine(bool continuation, std::string* line) = 0;
  virtual bool IsInteractive() const { return false; }
  // How error messages name the input ("stdin", a file's path); empty for
  // input that has no lines to point at (the terminal, an SQL argument).
  virtual std::string Name() const { return std::string(); }
};

// Lines of a stream (standard input or a .read file); the stream stays the caller's.
class StreamLineSource : public LineSource {
 public:
  StreamLineSource(std::FILE* stream, std::string name) : mStream(stream), mName(std::move(name)) {}
  ~StreamLineSource() override;
  Status ReadLine(bool continuation, std::string* line) override;
  std::string Name() const override { return mName; }

 private:
  std::FILE* mStream;
  std::string mName;
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

  // Where completion finds the names of tables and columns, asked at each Tab.
  void SetCompletionNames(std::function<CompletionNames()> names) { mNames = std::move(names); }

  const char* Prompt() const { return mPrompt; }
  // The editor's Tab: completes the word before the cursor.
  unsigned char CompleteWord();

 private:
  // Enters the statement gathered so far into the history.
  void EnterHistory();

  struct Editor;
  std::unique_ptr<Editor> mEditor;
  std::string mHistoryPath;
  std::string mEntry;  // the lines of the statement under way
  std::function<CompletionNames()> mNames;
  std::FILE* mOut = nullptr;  // the editor's output
  const char* mPrompt = "";
};

// ~/.parvex_history, or empty when HOME is not set.
std::string DefaultHistoryPath();

}  // namespace parvex::shell
