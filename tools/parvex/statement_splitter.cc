// Statement and dot-command splitting of the shell's input.
#include "statement_splitter.h"

#include <algorithm>

namespace parvex::shell {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

void StatementSplitter::AddLine(std::string_view line) {
  mLineStarts.push_back(mText.size());
  ++mLinesAdded;
  mText.append(line);
  mText.push_back('\n');
}

size_t StatementSplitter::LineAt(size_t position) const {
  const auto next = std::upper_bound(mLineStarts.begin(), mLineStarts.end(), position);
  return mFirstLine + static_cast<size_t>(next - mLineStarts.begin()) - 1;
}

bool StatementSplitter::ScanStatement(size_t* end) {
  for (size_t i = mScan; i < mText.size(); ++i) {
    const char c = mText[i];
    if (mInLiteral) {
      if (mEscape != 0 && c == mEscape && i + 1 < mText.size()) {
        ++i;  // the escaped byte, whatever it is, stays inside the literal
      } else if (c == '\'') {
        if (i + 1 < mText.size() && mText[i + 1] == '\'') {
          ++i;  // a doubled quote
        } else {
          mInLiteral = false;
        }
      }
      continue;
    }
    // Every line ends in '\n', so the byte after one that is not '\n' exists.
    if (mInComment) {
      if (c == '*' && mText[i + 1] == '/') {
        mText[i++] = ' ';
        mInComment = false;
      }
      mText[i] = ' ';
    } else if (c == '\'') {
      mInLiteral = true;
    } else if (c == '\n') {
      mText[i] = ' ';
    } else if (c == '-' && mText[i + 1] == '-') {
      for (; mText[i] != '\n'; ++i) mText[i] = ' ';
      mText[i] = ' ';
    } else if (c == '/' && mText[i + 1] == '*') {
      mText[i++] = ' ';
      mText[i] = ' ';
      mInComment = true;
    } else if (c == ';') {
      mScan = i;
      *end = i;
      return true;
    }
  }
  mScan = mText.size();
  return false;
}

void StatementSplitter::Consume(size_t position) {
  mHead = position;
  mScan = position;
  mInLiteral = false;
  mInComment = false;
  if (mHead == mText.size()) {
    mText.clear();
    mHead = mScan = 0;
    mLineStarts.clear();
    mFirstLine = mLinesAdded + 1;
  } else if (mHead > 4096 && mHead > mText.size() / 2) {
    // Drop consumed text once it dominates, keeping the work per byte constant.
    const size_t kept = LineAt(mHead) - mFirstLine;  // lines wholly before mHead
    mLineStarts.erase(mLineStarts.begin(), mLineStarts.begin() + static_cast<ptrdiff_t>(kept));
    mFirstLine += kept;
    for (size_t& start : mLineStarts) start = start > mHead ? start - mHead : 0;
    mText.erase(0, mHead);
    mHead = mScan = 0;
  }
}

bool StatementSplitter::TakeStatement(size_t end, InputPiece* piece) {
  // The text is copied out before Consume may drop it.
  const std::string_view text = Trim(std::string_view(mText).substr(mHead, end - mHead));
  const bool found = !text.empty();
  if (found) {
    piece->kind = InputPiece::Kind::kStatement;
    piece->text.assign(text);
    piece->line = LineAt(static_cast<size_t>(text.data() - mText.data()));
  }
  Consume(end + 1);
  mHeadStartsLine = false;
  return found;
}

bool StatementSplitter::Next(InputPiece* piece) {
  for (;;) {
    // A statement already under way resumes its scan where it stopped.
    if (mScan > mHead) {
      size_t end = 0;
      if (!ScanStatement(&end)) return false;
      if (TakeStatement(end, piece)) return true;
      continue;  // a lone `;`, or only comments
    }

    // Between pieces: skip blanks, noting whether a new line begins.
    size_t i = mHead;
    bool lineStart = mHeadStartsLine;
    while (i < mText.size() && IsBlank(mText[i])) {
      if (mText[i] == '\n') lineStart = true;
      ++i;
    }
    if (i == mText.size()) {
      Consume(i);
      mHeadStartsLine = lineStart;
      return false;
    }
    const std::string_view rest = std::string_view(mText).substr(i);
    if (rest.substr(0, 2) == "/*") {
      // A comment before a piece; one that is not closed yet waits for more lines.
      const size_t close = rest.find("*/", 2);
      if (close == std::string_view::npos) {
        mHead = mScan = i;
        mHeadStartsLine = lineStart;
        return false;
      }
      Consume(i + close + 2);
      mHeadStartsLine = false;
      continue;
    }
    const bool dotCommand = lineStart && rest.front() == '.';
    if (dotCommand || rest.substr(0, 2) == "--") {
      const size_t lineEnd = mText.find('\n', i);  // every line ends in '\n'
      const std::string_view line = Trim(std::string_view(mText).substr(i, lineEnd - i));
      if (dotCommand) {
        piece->kind = InputPiece::Kind::kDotCommand;
        piece->text.assign(line);
        piece->line = LineAt(i);
      }
      Consume(lineEnd + 1);
      mHeadStartsLine = true;
      if (dotCommand) return true;
      continue;  // a comment
    }
    mHead = i;
    mScan = i;
    mInLiteral = false;
    mInComment = false;
    size_t end = 0;
    if (!ScanStatement(&end)) return false;  // mScan > mHead: under way
    if (TakeStatement(end, piece)) return true;
  }
}

bool StatementSplitter::Finish(InputPiece* piece) {
  if (Next(piece)) return true;
  // Next scanned what is left to its end: one unterminated statement, a
  // comment left open before any statement, or nothing.
  const std::string_view text = Trim(std::string_view(mText).substr(mHead));
  const bool found = mScan > mHead && !text.empty();
  if (found) {
    piece->kind = InputPiece::Kind::kStatement;
    piece->text.assign(text);
    piece->line = LineAt(static_cast<size_t>(text.data() - mText.data()));
  }
  Reset();
  return found;
}

bool StatementSplitter::HasPendingText() const { return mHead < mText.size(); }

void StatementSplitter::Reset() {
  mText.clear();
  mHead = mScan = 0;
  mInLiteral = false;
  mInComment = false;
  mHeadStartsLine = true;
  mLineStarts.clear();
  mFirstLine = mLinesAdded + 1;
}

}  // namespace parvex::shell
