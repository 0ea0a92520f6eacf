// ParvexSQLParser: turns the text of one SQL statement into a syntax tree.
//
// A hand-written tokenizer (GetToken) feeds a recursive-descent parser with
// one function per grammar rule. Nothing throws: every problem is recorded as
// a numbered error (serror), parsing goes on as far as it sensibly can, and
// the caller reads LastError() after Evaluate and discards the tree when it
// is not kNoError. Some errors (INSERT errors, bad GROUP BY / ORDER BY lists,
// an unknown SET option) make Evaluate return no tree at all.
//
// Contract kept on any input: the tokenizer never reads past the statement's
// end (its first NUL byte or its length, whichever comes first), every loop
// consumes input, and nesting deeper than kMaxNesting (parentheses, or an
// expression tree of that height) raises kErrSyntax and stops the parse, so
// no input can exhaust the stack while parsing, printing or destroying.
//
// Placeholders `?` and `?NNN` (a token of their own) stand wherever a
// literal may stand in an expression: `?` takes the number after the highest
// so far, `?NNN` (1 to kMaxParameter) its own; they become SQLParameterNodes
// pointing at the value list given by SetParameterValues.
//
// Dialect quirks kept on purpose: line feed is not a delimiter (a line feed
// directly behind a word belongs to the word), a lower-case `e` in a number
// takes the next byte with it, a leading NOT is discarded, IN is refused and
// replaced by FALSE, and "CREATE INDEX i <any word> t (...)" accepts any
// token in the place of ON.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/parvex_string.h"
#include "sql/syntax_scalar.h"
#include "sql/syntax_statements.h"

namespace parvex {

class ParvexSQLParser {
 public:
  enum ErrorType : long {
    kNoError = 0,
    kErrKeywordExpected = 1,
    kErrTableNameExpected = 2,
    kErrRangeVarExpected = 3,
    kErrIndexNameExpected = 4,
    kErrFromExpected = 5,
    kErrIntoExpected = 6,
    kErrSetExpected = 7,
    kErrUnbalancedParens = 8,
    kErrColumnNameExpected = 9,
    kErrCommaOrParenExpected = 10,
    kErrValuesExpected = 11,
    kErrParenExpected = 12,
    kErrEqualsExpected = 13,
    kErrAssignValueExpected = 14,
    kErrDataTypeExpected = 15,
    kErrDatetimeIncomplete = 16,
    kErrUnknownFunction = 17,
    kErrFeatureNotSupported = 18,
    kErrSyntax = 19,
  };

  // Token classes.
  enum TokenClass : int32_t {
    kTokenUnknown = 0,
    kTokenDelimiter = 1,
    kTokenWord = 2,
    kTokenNumber = 3,
    kTokenString = 4,
    kTokenEnd = 5,
    kTokenParameter = 6,  // `?` or `?NNN`, a placeholder for a bound value
  };

  // Receives every error code as it is raised.
  class ErrorListener {
   public:
    virtual void ParserError(ErrorType code) = 0;
    virtual ~ErrorListener() = default;
  };

  // Deepest nesting of parentheses, and greatest expression-tree height,
  // that a statement may have. Far beyond any hand-written statement; at the
  // limit a parse needs about half a megabyte of stack (optimised build).
  static constexpr int kMaxNesting = 500;
  // Highest placeholder number a statement may use (`?NNN`).
  static constexpr int kMaxParameter = 32767;

  ParvexSQLParser() = default;
  ParvexSQLParser(const ParvexSQLParser&) = delete;
  ParvexSQLParser& operator=(const ParvexSQLParser&) = delete;

  // Parses one statement. Returns its root node (the caller owns it), null
  // when no statement could be recognised, or a partial tree when an error
  // was raised (see LastError).
  std::unique_ptr<SQLSyntaxNode> Evaluate(const string& statement);

  ErrorType LastError() const { return mLastError; }
  // Where the last Evaluate stopped reading: the byte offset of the first
  // token it did not use (a ';' counts as such a token), or the statement's
  // length when it used every token. A SELECT stops quietly at the first
  // token behind its FROM list or WHERE condition that is not a word, and
  // COMMIT and ROLLBACK read nothing behind their word, so text can be left
  // over without an error.
  size_t StopOffset() const { return mStopOffset; }
  // The expressions whose leading NOT the last Evaluate discarded, in the
  // order they were parsed. The pointers identify nodes of the returned tree
  // and are only meaningful while it lives.
  const std::vector<const SQLScalarExpNode*>& DiscardedNots() const { return mDiscardedNots; }
  // Where the first error of the last Evaluate was raised: the byte offset,
  // in the statement, of the token being read then (the statement's length
  // when it was its end). Meaningful only when LastError is not kNoError.
  size_t ErrorOffset() const { return mErrorOffset; }
  // The values the placeholders of the next statements convert to (not
  // owned; it must outlive the trees). Null: placeholders have no value.
  void SetParameterValues(const std::vector<ParvexValue>* values) { mParameterValues = values; }
  // The highest placeholder number of the last statement parsed (0: none).
  int ParameterCount() const { return mParameterCount; }
  // The user-facing message for an error code: empty for kNoError and for
  // codes outside the table.
  static string ErrorMessage(long code);

  // The escape byte for string literals (0 = none); kept across statements.
  void SetEscape(char escape) { mEscape = escape; }
  char Escape() const { return mEscape; }
  void SetErrorListener(ErrorListener* listener) { mListener = listener; }

  // Tokenizer, public so that it can be driven and tested on its own. Call
  // Start before the first GetToken.
  void Start(const string& statement);
  void GetToken();
  void GetStringLiteral();
  void putback();
  const string& Token() const { return mToken; }
  TokenClass TokenKind() const { return mTokenClass; }

  // Records an error and tells the listener; parsing continues.
  void serror(ErrorType code);

 private:
  // Saved tokenizer state for one token of lookahead.
  struct TokenState {
    const char* position;
    const char* tokenStart;
    string token;
    TokenClass tokenClass;
  };

  // Token tests.
  bool IsWord(const char* keyword) const;
  bool IsDelimiter(char c) const;
  bool IsDelimiter(const char* text) const;
  bool AtEnd() const;
  bool IsWord() const { return mTokenClass == kTokenWord; }
  TokenState Save() const { return {mPos, mTokenStart, mToken, mTokenClass}; }
  void Restore(const TokenState& state);
  // Stops the parse: raises `code`, after which every token reads as the
  // end and further errors are not recorded.
  void Abort(ErrorType code);
  // Raises kErrSyntax when text is left over after a complete statement and
  // no other error has been raised.
  void ExpectEnd();
  // Skips the list behind a refused IN: a parenthesised group, or one token.
  void SkipInOperand();
  template <typename Node>
  std::unique_ptr<Node> New(Node* node) const {
    node->encoding = mEncoding;
    return std::unique_ptr<Node>(node);
  }
  // Stops the parse when a freshly built node is too high.
  void CheckHeight(const SQLScalarExpNode* node);
  // Builds a statement node and fills it with its rule.
  template <typename Node>
  std::unique_ptr<SQLSyntaxNode> Run(void (ParvexSQLParser::*rule)(std::unique_ptr<Node>&));
  // "( name {, name} )" behind a current '(' (column lists); false after an error.
  bool EvalNameList(SimpleVector<string>& names);
  // "BY column {, column}" behind GROUP or ORDER: calls readItem with each
  // column word current; readItem consumes it. False after an error.
  template <typename ReadItem>
  bool EvalByList(ReadItem readItem);

  // Dispatches on the statement's first word.
  std::unique_ptr<SQLSyntaxNode> EvalStatement();

  // Statements.
  void EvalSelect(std::unique_ptr<SQLSelectNode>& node);
  void EvalSelectItem(std::unique_ptr<SQLSelectItemNode>& node);
  void EvalTableRef(std::unique_ptr<SQLTableRefNode>& node);
  void EvalInsert(std::unique_ptr<SQLInsertNode>& node);
  void EvalUpdate(std::unique_ptr<SQLUpdateNode>& node);
  void EvalDelete(std::unique_ptr<SQLDeleteNode>& node);
  void EvalSet(std::unique_ptr<SQLSetOptionNode>& node);
  void EvalCreateTable(std::unique_ptr<SQLCreateTableNode>& node);
  void EvalColumnDef(std::unique_ptr<SQLColumnDefNode>& node);
  void EvalCreateIndex(std::unique_ptr<SQLCreateIndexNode>& node);
  void EvalAlterTable(std::unique_ptr<SQLAlterTableNode>& node);
  void EvalDropTable(std::unique_ptr<SQLDropTableNode>& node);
  void EvalDropIndex(std::unique_ptr<SQLDropIndexNode>& node);
  // [WHERE expr] and the end of the statement (UPDATE, DELETE).
  void EvalWhere(SQLScalarExpPtr& where);
  // Takes a word into `name` and moves on; raises `error` for anything else.
  bool ReadName(string& name, ErrorType error);
  // Moves past `keyword`; raises `error` when something else stands there.
  bool ReadKeyword(const char* keyword, ErrorType error);
  // An optional RESTRICT or CASCADE.
  long ReadDropBehavior();
  // DEFAULT literal of a column definition.
  void EvalDefaultLiteral(SQLScalarExpPtr& node);

  // Expressions, lowest precedence first.
  void EvalScalarExp(SQLScalarExpPtr& node);
  void EvalOr(SQLScalarExpPtr& node);
  void EvalAnd(SQLScalarExpPtr& node);
  void EvalNot(SQLScalarExpPtr& node);
  void EvalIn(SQLScalarExpPtr& node);
  void EvalCompare(SQLScalarExpPtr& node);
  // operand {(op1 | op2) operand}, left-associative.
  void EvalLeftAssociative(SQLScalarExpPtr& node, char op1, char op2,
                           void (ParvexSQLParser::*operand)(SQLScalarExpPtr&));
  // operand {keyword operand}, collected into one n-ary node.
  void EvalNary(SQLScalarExpPtr& node, const char* keyword, void (ParvexSQLParser::*operand)(SQLScalarExpPtr&));
  void EvalAddSubtract(SQLScalarExpPtr& node);
  void EvalMultDiv(SQLScalarExpPtr& node);
  void EvalUnarySign(SQLScalarExpPtr& node);
  void EvalParen(SQLScalarExpPtr& node);
  void EvalFunction(SQLScalarExpPtr& node);
  void EvalFunctionArguments(SQLFunctionNode& node);
  // A scalar expression as operand `index` of a function.
  void EvalOperand(SQLFunctionNode& node, int index);
  void EvalAggregateArgument(SQLFunctionNode& node);
  void EvalPositionArguments(SQLFunctionNode& node);
  void EvalSubstringArguments(SQLFunctionNode& node);
  void EvalTrimArguments(SQLFunctionNode& node);
  void EvalAtom(SQLScalarExpPtr& node);

  ErrorListener* mListener = nullptr;
  ErrorType mLastError = kNoError;
  size_t mErrorOffset = 0;
  bool mErrorPlaced = false;  // mErrorOffset holds the first error's place
  char mEscape = 0;
  const char* mPos = nullptr;
  const char* mEnd = nullptr;  // the statement's terminating (first) NUL byte
  uint32_t mEncoding = kEncodingDefault;
  string mToken;
  const char* mTokenStart = nullptr;  // where the current token's text begins
  bool mInPosition = false;
  TokenClass mTokenClass = kTokenEnd;
  bool mAborted = false;
  int mDepth = 0;  // current nesting of EvalScalarExp
  size_t mStopOffset = 0;
  std::vector<const SQLScalarExpNode*> mDiscardedNots;
  const std::vector<ParvexValue>* mParameterValues = nullptr;
  int mParameterCount = 0;
  string mStatement;  // keeps the parsed text alive while positions point into it
};

}  // namespace parvex
