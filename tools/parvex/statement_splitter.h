// StatementSplitter: cuts the shell's input into SQL statements and dot-commands.
//
// Lines go in one at a time (without their line ends); complete pieces come
// out in order. A statement ends at a `;` outside single-quoted literals (a
// doubled quote stays inside the literal; when the database's escape byte is
// set, that byte and the one behind it are stepped over together, as the
// engine's tokenizer does). A line whose first non-blank byte is `.` where a
// statement would begin is a dot-command. Comments outside literals, `--` to
// the end of the line and `/* ... */` (which may span lines), are removed: each
// becomes a blank, and a `;` inside one ends nothing. Text after the last `;`
// is handed out by Finish at the end of the input.
//
// Every piece carries the number of the input line it starts on (1 for the
// first line added), so errors can name where they happened.
//
// Line ends outside literals become blanks in the statement text: the engine's
// tokenizer takes a line feed directly behind a word as part of the word, so a
// statement typed over several lines would otherwise not parse. Line ends
// inside literals are kept.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace parvex::shell {

struct InputPiece {
  enum class Kind { kStatement, kDotCommand };
  Kind kind = Kind::kStatement;
  // A statement without its `;`, comments and surrounding blanks, or a
  // dot-command line without its leading blanks and line end.
  std::string text;
  size_t line = 0;  // the input line the piece starts on
};

class StatementSplitter {
 public:
  // The escape byte used inside literals (0 for none). Takes effect for the
  // text not yet scanned, so a SET ESCAPE statement can change how the rest
  // of the input is cut.
  void SetEscape(char escape) { mEscape = escape; }

  void AddLine(std::string_view line);
  // Takes the next complete piece; false when none is ready.
  bool Next(InputPiece* piece);
  // At the end of input: takes the next piece, the unterminated statement
  // last; false (and the splitter empty) when nothing is left.
  bool Finish(InputPiece* piece);
  // True while an unfinished statement is pending (the continuation prompt).
  bool HasPendingText() const;
  // Drops everything pending (Ctrl-C at the prompt).
  void Reset();

 private:
  // Scans the statement that starts at mHead, resuming at mScan; true with
  // the position of its `;` when it is complete.
  bool ScanStatement(size_t* end);
  // Takes the statement from mHead to its `;` at `end`; false when it is blank.
  bool TakeStatement(size_t end, InputPiece* piece);
  // Forgets the text before `position`.
  void Consume(size_t position);
  // The input line of the byte at `position` of mText.
  size_t LineAt(size_t position) const;

  std::string mText;           // input lines, each followed by '\n'
  size_t mHead = 0;            // start of the unconsumed text
  size_t mScan = 0;            // how far the pending statement has been scanned
  bool mInLiteral = false;     // the scan stopped inside a quoted literal
  bool mInComment = false;     // the scan stopped inside a /* ... */ comment
  std::vector<size_t> mLineStarts;  // offsets in mText of its lines' starts
  size_t mFirstLine = 1;            // the input line of mLineStarts[0]
  size_t mLinesAdded = 0;
  bool mHeadStartsLine = true;  // mHead is at the beginning of a line
  char mEscape = 0;
};

}  // namespace parvex::shell
