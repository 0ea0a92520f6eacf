// ParvexSQLParser: the expression rules, lowest precedence first.
//
// OR and AND collect a whole run of operands into one n-ary node; +, -, *
// and / build left-associative binary nodes; a comparison is not chained. A
// leading NOT is discarded (NOT x parses as x); NOT LIKE is the only negation
// the dialect has. IN is refused with kErrFeatureNotSupported and its
// expression replaced by FALSE, except for the IN inside POSITION(x IN y).
#include "sql/parser.h"

#include <algorithm>
#include <charconv>

namespace parvex {

namespace {

bool IsComparison(const string& token) {
  if (token.empty() || (token[0] != '=' && token[0] != '<' && token[0] != '>')) return false;  // most tokens
  static constexpr const char* kOperators[] = {"=", "<>", "<", "<=", ">", ">="};
  for (const char* op : kOperators) {
    if (token.CompareWithCase(op) == 0) return true;
  }
  return false;
}

}  // namespace

void ParvexSQLParser::EvalScalarExp(SQLScalarExpPtr& node) {
  // Every way of nesting an expression (parentheses, function arguments)
  // comes through here, so this bounds the recursion.
  if (mDepth >= kMaxNesting) {
    Abort(kErrSyntax);
    return;
  }
  ++mDepth;
  EvalOr(node);
  --mDepth;
}

void ParvexSQLParser::EvalNary(SQLScalarExpPtr& node, const char* keyword,
                               void (ParvexSQLParser::*operand)(SQLScalarExpPtr&)) {
  (this->*operand)(node);
  if (!IsWord(keyword)) return;
  auto nary = New(new SQLInfixOpNode(string(keyword, mEncoding)));
  nary->AddOperand(std::move(node));
  while (IsWord(keyword)) {
    GetToken();
    SQLScalarExpPtr next;
    (this->*operand)(next);
    nary->AddOperand(std::move(next));
  }
  CheckHeight(nary.get());
  node = std::move(nary);
}

void ParvexSQLParser::EvalOr(SQLScalarExpPtr& node) { EvalNary(node, "OR", &ParvexSQLParser::EvalAnd); }

void ParvexSQLParser::EvalAnd(SQLScalarExpPtr& node) { EvalNary(node, "AND", &ParvexSQLParser::EvalNot); }

void ParvexSQLParser::EvalNot(SQLScalarExpPtr& node) {
  const bool discarded = IsWord("NOT");
  if (discarded) GetToken();  // NOT x parses as x
  EvalIn(node);
  if (discarded && node) mDiscardedNots.push_back(node.get());
}

void ParvexSQLParser::EvalIn(SQLScalarExpPtr& node) {
  EvalCompare(node);
  if (mInPosition) return;
  bool in = IsWord("IN");
  if (!in && IsWord("NOT")) {
    // NOT IN is refused the same way; a NOT before anything else stays.
    const TokenState notToken = Save();
    GetToken();
    in = IsWord("IN");
    if (!in) Restore(notToken);
  }
  if (!in) return;
  serror(kErrFeatureNotSupported);
  GetToken();
  SkipInOperand();
  node = New(new SQLLiteralNode(string("FALSE", mEncoding), mEscape));
}

void ParvexSQLParser::SkipInOperand() {
  if (!IsDelimiter('(')) {
    if (!AtEnd() && mTokenClass != kTokenUnknown) GetToken();
    return;
  }
  int open = 1;
  while (open > 0) {
    GetToken();
    // An unknown byte never moves the position: stop rather than spin.
    if (AtEnd() || mTokenClass == kTokenUnknown) return;
    if (IsDelimiter('(')) ++open;
    if (IsDelimiter(')')) --open;
  }
  GetToken();
}

void ParvexSQLParser::EvalCompare(SQLScalarExpPtr& node) {
  EvalAddSubtract(node);
  if (mTokenClass == kTokenDelimiter && IsComparison(mToken)) {
    auto compare = New(new SQLInfixOpNode(mToken));
    GetToken();
    SQLScalarExpPtr right;
    EvalAddSubtract(right);
    compare->AddOperand(std::move(node));
    compare->AddOperand(std::move(right));
    CheckHeight(compare.get());
    node = std::move(compare);
  }
  bool negated = false;
  if (IsWord("NOT")) {
    const TokenState notToken = Save();
    GetToken();
    if (!IsWord("LIKE")) {
      Restore(notToken);  // not NOT LIKE: leave the NOT to the caller
      return;
    }
    negated = true;
  }
  if (!IsWord("LIKE")) return;
  GetToken();
  SQLScalarExpPtr pattern;
  SQLScalarExpPtr escape;
  EvalAddSubtract(pattern);
  if (IsWord("ESCAPE")) {
    GetToken();
    EvalAddSubtract(escape);
  }
  auto like = New(new SQLLikeNode(std::move(node), std::move(pattern), std::move(escape), negated));
  CheckHeight(like.get());
  node = std::move(like);
}

void ParvexSQLParser::EvalLeftAssociative(SQLScalarExpPtr& node, char op1, char op2,
                                          void (ParvexSQLParser::*operand)(SQLScalarExpPtr&)) {
  (this->*operand)(node);
  while (IsDelimiter(op1) || IsDelimiter(op2)) {
    auto math = New(new SQLInfixOpNode(mToken));
    GetToken();
    SQLScalarExpPtr right;
    (this->*operand)(right);
    math->AddOperand(std::move(node));
    math->AddOperand(std::move(right));
    CheckHeight(math.get());
    node = std::move(math);
  }
}

void ParvexSQLParser::EvalAddSubtract(SQLScalarExpPtr& node) {
  EvalLeftAssociative(node, '+', '-', &ParvexSQLParser::EvalMultDiv);
}

void ParvexSQLParser::EvalMultDiv(SQLScalarExpPtr& node) {
  EvalLeftAssociative(node, '*', '/', &ParvexSQLParser::EvalUnarySign);
}

void ParvexSQLParser::EvalUnarySign(SQLScalarExpPtr& node) {
  // One sign only: "- -1" is a syntax error at the second minus.
  if (IsDelimiter('+')) {
    GetToken();
    EvalParen(node);
  } else if (IsDelimiter('-')) {
    GetToken();
    SQLScalarExpPtr operand;
    EvalParen(operand);
    auto negation = New(new SQLNegationNode(std::move(operand)));
    CheckHeight(negation.get());
    node = std::move(negation);
  } else {
    EvalParen(node);
  }
}

void ParvexSQLParser::EvalParen(SQLScalarExpPtr& node) {
  if (!IsDelimiter('(')) {
    EvalFunction(node);
    return;
  }
  GetToken();
  EvalScalarExp(node);
  if (!IsDelimiter(')')) serror(kErrUnbalancedParens);
  GetToken();  // the ')' or, when it is missing, whatever stood there
}

void ParvexSQLParser::EvalFunction(SQLScalarExpPtr& node) {
  ParvexFuncCode code = 0;
  if (!IsWord()) {
    EvalAtom(node);
    return;
  }
  string name = mToken;  // GetParvexFuncCode may rewrite CHARACTER_LENGTH
  if (!GetParvexFuncCode(name, &code)) {
    EvalAtom(node);
    return;
  }
  auto function = New(new SQLFunctionNode(code));
  GetToken();
  if (IsDelimiter('(')) {
    function->hasParens = true;
    EvalFunctionArguments(*function);
    if (!IsDelimiter(')')) serror(kErrUnbalancedParens);
    GetToken();
  }
  CheckHeight(function.get());
  node = std::move(function);
}

// Reads the arguments behind '(' up to (not including) the ')'.
void ParvexSQLParser::EvalFunctionArguments(SQLFunctionNode& node) {
  GetToken();  // behind '('
  if (IsAggregateFunc(node.code)) {
    EvalAggregateArgument(node);
  } else if (node.code == kFuncPosition) {
    EvalPositionArguments(node);
  } else if (node.code == kFuncSubstring) {
    EvalSubstringArguments(node);
  } else if (node.code == kFuncTrim) {
    EvalTrimArguments(node);
  } else if (!IsDelimiter(')')) {
    EvalOperand(node, 0);  // the other functions take one argument or none
  }
}

void ParvexSQLParser::EvalOperand(SQLFunctionNode& node, int index) {
  SQLScalarExpPtr operand;
  EvalScalarExp(operand);
  node.SetOperand(index, std::move(operand));
}

// COUNT(*), or [DISTINCT | ALL] x.
void ParvexSQLParser::EvalAggregateArgument(SQLFunctionNode& node) {
  if (node.code == kFuncCount && IsDelimiter('*')) {
    node.star = true;
    GetToken();
    return;
  }
  if (IsWord("DISTINCT")) {
    node.distinct = true;
    GetToken();
  } else if (IsWord("ALL")) {
    GetToken();
  }
  EvalOperand(node, 0);
}

// POSITION(x IN y): the IN is the function's, and y (operand 0) is searched
// for x (operand 1).
void ParvexSQLParser::EvalPositionArguments(SQLFunctionNode& node) {
  const bool outer = mInPosition;
  mInPosition = true;
  EvalOperand(node, 1);
  mInPosition = outer;
  if (!ReadKeyword("IN", kErrKeywordExpected)) return;
  mInPosition = false;
  EvalOperand(node, 0);
  mInPosition = outer;
}

// SUBSTRING(x FROM n [FOR m]).
void ParvexSQLParser::EvalSubstringArguments(SQLFunctionNode& node) {
  EvalOperand(node, 0);
  if (!ReadKeyword("FROM", kErrKeywordExpected)) return;
  EvalOperand(node, 1);
  if (IsWord("FOR")) {
    GetToken();
    EvalOperand(node, 2);
  }
}

// TRIM([LEADING | TRAILING | BOTH] [c] FROM x) or TRIM(x); the mode is kept
// as a String literal operand.
void ParvexSQLParser::EvalTrimArguments(SQLFunctionNode& node) {
  SQLScalarExpPtr mode;
  const char* modeWord = IsWord("LEADING")    ? "LEADING"
                         : IsWord("TRAILING") ? "TRAILING"
                         : IsWord("BOTH")     ? "BOTH"
                                              : nullptr;
  if (modeWord) {
    mode = New(new SQLLiteralNode(string(modeWord, mEncoding), mEscape));
    GetToken();
  }
  SQLScalarExpPtr characters;
  if (!IsWord("FROM")) EvalScalarExp(characters);
  if (IsWord("FROM")) {
    GetToken();
    SQLScalarExpPtr text;
    EvalScalarExp(text);
    node.SetOperand(0, std::move(text));
    node.SetOperand(1, std::move(characters));
    node.SetOperand(2, std::move(mode));
  } else if (mode) {
    serror(kErrKeywordExpected);  // a trim mode needs FROM
  } else {
    node.SetOperand(0, std::move(characters));
  }
}

void ParvexSQLParser::EvalAtom(SQLScalarExpPtr& node) {
  if (mTokenClass == kTokenParameter) {
    // `?` takes the number after the highest so far; `?NNN` names its own.
    const bool numbered = mToken.length() > 1;
    int index = mParameterCount + 1;
    if (numbered) {
      const std::string_view digits = mToken.view().substr(1);
      index = 0;
      if (digits.size() > 5 || std::from_chars(digits.data(), digits.data() + digits.size(), index).ec != std::errc()) {
        index = 0;
      }
    }
    if (index < 1 || index > kMaxParameter) {
      serror(kErrSyntax);
      GetToken();
      return;
    }
    mParameterCount = std::max(mParameterCount, index);
    node = New(new SQLParameterNode(index, numbered, mParameterValues));
    GetToken();
    return;
  }
  if (mTokenClass == kTokenNumber || mTokenClass == kTokenString) {
    node = New(new SQLLiteralNode(mToken, mEscape));
    GetToken();
    return;
  }
  if (IsWord("TRUE") || IsWord("FALSE")) {
    node = New(new SQLLiteralNode(string(IsWord("TRUE") ? "TRUE" : "FALSE", mEncoding), mEscape));
    GetToken();
    return;
  }
  const char* datetime = IsWord("DATE")        ? "DATE"
                         : IsWord("TIME")      ? "TIME"
                         : IsWord("TIMESTAMP") ? "TIMESTAMP"
                                               : nullptr;
  if (datetime) {
    GetToken();
    if (mTokenClass != kTokenString) {
      serror(kErrDatetimeIncomplete);
      // A word or number stood where the text belongs: take it as the bad text.
      if (IsWord() || mTokenClass == kTokenNumber) GetToken();
      return;
    }
    // The keyword is kept in upper case whatever case it was written in.
    node = New(new SQLLiteralNode(string(datetime, mEncoding) + " " + mToken, mEscape));
    GetToken();
    return;
  }
  if (IsWord("FROM")) {
    serror(kErrSyntax);
    return;
  }
  if (IsWord() || IsDelimiter('*')) {
    node = New(new SQLFieldRefNode(mToken));
    GetToken();
    return;
  }
  serror(kErrSyntax);
}

}  // namespace parvex
