// ParvexSQLParser: the tokenizer, error handling and statement dispatch.
//
// The position never moves past mEnd, the statement's first NUL byte (the
// shared string keeps a NUL behind its last byte, so reading *mEnd is safe).
// Every rule starts with its first token current and leaves the first token
// after what it parsed current.
#include "sql/parser.h"

#include <cstring>

#include "sql/sql_dialect.h"

namespace parvex {

namespace {

constexpr const char* kErrorMessages[] = {
    "",
    "SQL Error: keyword expected",
    "SQL Error: table name expected",
    "SQL Error: range variable expected",
    "SQL Error: index name expected",
    "SQL Error: FROM expected",
    "SQL Error: INTO expected",
    "SQL Error: SET expected",
    "SQL Error: unbalanced parentheses",
    "SQL Error: column name expected",
    "SQL Error: comma or parenthesis expected",
    "SQL Error: keyword values expected",
    "SQL Error: parenthesis expected",
    "SQL Error: equals sign expected",
    "SQL Error: assignment value expected",
    "SQL Error: data type expected",
    "SQL Error: datetime literal incomplete",
    "SQL Error: unknown function",
    "SQL Error: feature not supported",
    "SQL Syntax Error",
};
constexpr long kErrorMessageCount = sizeof(kErrorMessages) / sizeof(kErrorMessages[0]);

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

string ParvexSQLParser::ErrorMessage(long code) {
  if (code <= 0 || code >= kErrorMessageCount) return string();
  return string(kErrorMessages[code]);
}

void ParvexSQLParser::serror(ErrorType code) {
  if (mAborted) return;
  if (!mErrorPlaced) {
    // The token being read began at its length before the position (or, for
    // the end and for an unknown byte, at the position itself).
    const char* begin = mStatement.c_str();
    const size_t position = static_cast<size_t>(mPos - begin);
    const size_t length = mTokenClass == kTokenEnd ? 0 : mToken.length();
    mErrorOffset = position >= length ? position - length : 0;
    mErrorPlaced = true;
  }
  if (mListener) mListener->ParserError(code);
  mLastError = code;
}

void ParvexSQLParser::Abort(ErrorType code) {
  serror(code);
  mAborted = true;
  mToken = string();
  mTokenClass = kTokenEnd;
}

void ParvexSQLParser::Start(const string& statement) {
  mStatement = statement;
  mEncoding = statement.empty() ? kEncodingDefault : statement.Encoding();
  const char* begin = mStatement.c_str();
  const void* nul = std::memchr(begin, 0, mStatement.length());
  mPos = begin;
  mEnd = nul ? static_cast<const char*>(nul) : begin + mStatement.length();
  mToken = string();
  mTokenStart = mPos;
  mTokenClass = kTokenEnd;
  mInPosition = false;
  mAborted = false;
  mDepth = 0;
  mStopOffset = 0;
  mDiscardedNots.clear();
  mErrorPlaced = false;
  mErrorOffset = 0;
  mParameterCount = 0;
}

void ParvexSQLParser::GetToken() {
  mTokenClass = kTokenUnknown;
  // The token is empty while it is read (errors are placed by its length);
  // its old bytes are refilled for the new one when no node holds on to them
  // (keywords, delimiters), so most tokens cost no allocation.
  string bytes = std::move(mToken);
  mToken = string();
  mTokenStart = mPos;
  if (mAborted || mPos == mEnd) {
    mTokenClass = kTokenEnd;
    return;
  }
  while (mPos < mEnd && IsSqlBlank(*mPos)) ++mPos;
  const char* start = mPos;
  mTokenStart = mPos;
  const char c = *mPos;
  if (c == ';') {
    mTokenClass = kTokenEnd;  // the ';' stays unread
    return;
  }
  if (c == '\'') {
    GetStringLiteral();
  } else if (c == 'N' && mPos[1] == '\'') {
    // National literal: the N is not part of the token.
    ++mPos;
    start = mPos;
    GetStringLiteral();
  } else if (c == '"') {
    serror(kErrSyntax);  // double-quoted identifiers are not supported
    mTokenClass = kTokenEnd;
    return;
  } else if (IsSqlDelimiter(c)) {
    mTokenClass = kTokenDelimiter;
    if (mPos == mEnd) {
      // Text that ends in blanks yields a delimiter holding the NUL byte. The
      // position stays on the NUL so that the next token is the end.
      bytes.Assign(std::string_view(mPos, 1), mEncoding);
      mToken = std::move(bytes);
      return;
    }
    ++mPos;
    if ((c == '<' && (*mPos == '=' || *mPos == '>')) || (c == '>' && *mPos == '=')) ++mPos;
  } else if (IsSqlWordStart(c)) {
    mTokenClass = kTokenWord;
    ++mPos;
    while (!IsSqlDelimiter(*mPos)) ++mPos;
    if (*mPos == '*' && mPos[-1] == '.') ++mPos;  // T.* is one word
  } else if (c == '?') {
    mTokenClass = kTokenParameter;
    ++mPos;
    while (IsDigit(*mPos)) ++mPos;
  } else if (IsDigit(c)) {
    mTokenClass = kTokenNumber;
    while (!IsSqlDelimiter(*mPos)) {
      // A lower-case e takes the next byte along (1e-5), but never the end.
      mPos += (*mPos == 'e' && mPos + 1 < mEnd) ? 2 : 1;
    }
  } else {
    return;  // unknown: empty text, position on the byte
  }
  bytes.Assign(std::string_view(start, static_cast<size_t>(mPos - start)), mEncoding);
  mToken = std::move(bytes);
}

void ParvexSQLParser::GetStringLiteral() {
  ++mPos;  // the opening quote
  while (mPos < mEnd) {
    const char c = *mPos;
    if (mEscape != 0 && c == mEscape) {
      // The escape byte protects the byte behind it (unless that is the end).
      mPos += (mPos + 1 < mEnd) ? 2 : 1;
      continue;
    }
    if (c == '\'') {
      if (mPos[1] == '\'') {  // a doubled quote stays in the text
        mPos += 2;
        continue;
      }
      ++mPos;
      if (!IsSqlDelimiter(*mPos)) serror(kErrSyntax);  // e.g. 'abc'x
      break;
    }
    ++mPos;
  }
  // An unterminated literal runs to the end of the text without an error.
  mTokenClass = kTokenString;
}

void ParvexSQLParser::putback() {
  // The NUL delimiter does not move the position, so nothing is taken back for it.
  if (mTokenClass == kTokenDelimiter && mToken.length() == 1 && mToken[0] == 0) return;
  mPos -= mToken.length();
}

void ParvexSQLParser::Restore(const TokenState& state) {
  mPos = state.position;
  mTokenStart = state.tokenStart;
  mToken = state.token;
  mTokenClass = state.tokenClass;
}

bool ParvexSQLParser::IsWord(const char* keyword) const {
  return mTokenClass == kTokenWord && mToken.Compare(keyword) == 0;
}

bool ParvexSQLParser::IsDelimiter(char c) const {
  return mTokenClass == kTokenDelimiter && mToken.length() == 1 && mToken[0] == static_cast<unsigned char>(c);
}

bool ParvexSQLParser::IsDelimiter(const char* text) const {
  return mTokenClass == kTokenDelimiter && mToken.CompareWithCase(text) == 0;
}

bool ParvexSQLParser::AtEnd() const {
  return mTokenClass == kTokenEnd ||
         (mTokenClass == kTokenDelimiter && mToken.length() == 1 && mToken[0] == 0);
}

void ParvexSQLParser::ExpectEnd() {
  if (!AtEnd() && mLastError == kNoError) serror(kErrSyntax);
}

void ParvexSQLParser::CheckHeight(const SQLScalarExpNode* node) {
  if (node && node->Height() > kMaxNesting) Abort(kErrSyntax);
}

template <typename Node>
std::unique_ptr<SQLSyntaxNode> ParvexSQLParser::Run(void (ParvexSQLParser::*rule)(std::unique_ptr<Node>&)) {
  auto node = New(new Node);
  (this->*rule)(node);
  return node;
}

std::unique_ptr<SQLSyntaxNode> ParvexSQLParser::Evaluate(const string& statement) {
  mLastError = kNoError;
  Start(statement);
  GetToken();
  std::unique_ptr<SQLSyntaxNode> node = EvalStatement();
  // COMMIT and ROLLBACK stop behind their word; every other rule leaves the
  // first token it did not use current.
  const bool usedCurrent = node && node->IsEndTransaction();
  const char* stop = usedCurrent ? mPos : mTokenStart;
  mStopOffset = static_cast<size_t>(stop - mStatement.c_str());
  return node;
}

std::unique_ptr<SQLSyntaxNode> ParvexSQLParser::EvalStatement() {
  if (!IsWord()) {
    serror(kErrKeywordExpected);
    return nullptr;
  }
  if (IsWord("SELECT")) return Run(&ParvexSQLParser::EvalSelect);
  if (IsWord("INSERT")) return Run(&ParvexSQLParser::EvalInsert);
  if (IsWord("UPDATE")) return Run(&ParvexSQLParser::EvalUpdate);
  if (IsWord("DELETE")) return Run(&ParvexSQLParser::EvalDelete);
  if (IsWord("SET")) return Run(&ParvexSQLParser::EvalSet);
  // Nothing after COMMIT or ROLLBACK is read.
  if (IsWord("COMMIT")) return New(new SQLEndTransactionNode(true));
  if (IsWord("ROLLBACK")) return New(new SQLEndTransactionNode(false));
  const bool create = IsWord("CREATE");
  const bool alter = IsWord("ALTER");
  const bool drop = IsWord("DROP");
  if (create || alter || drop) {
    GetToken();
    if (IsWord("TABLE")) {
      if (create) return Run(&ParvexSQLParser::EvalCreateTable);
      if (alter) return Run(&ParvexSQLParser::EvalAlterTable);
      return Run(&ParvexSQLParser::EvalDropTable);
    }
    if (IsWord("INDEX") && create) return Run(&ParvexSQLParser::EvalCreateIndex);
    if (IsWord("INDEX") && drop) return Run(&ParvexSQLParser::EvalDropIndex);
  }
  serror(kErrKeywordExpected);
  return nullptr;
}

}  // namespace parvex
