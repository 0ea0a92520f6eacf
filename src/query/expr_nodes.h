// The expression node classes: constants, fields, arithmetic, comparisons,
// LIKE, NOT, AND, OR, scalar functions and aggregates.
//
// Each node owns its children (std::unique_ptr) and evaluates them into
// scratch values of its own. Results of comparisons, LIKE, NOT, AND and OR are
// Integer 0 or 1, never Boolean. Arithmetic happens only on Integer left
// operands (32-bit, wrapping; division by zero and INT32_MIN / -1 make the
// node fail) and String left operands ('+' concatenates); any other left
// operand passes through unchanged. Comparisons of non-text left operands use
// integer readings (doubles compare truncated).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "query/expr.h"
#include "query/functions.h"

namespace parvex {

class LikePattern;

using ParvexExprPtr = std::unique_ptr<ParvexExpr>;

// Comparison operator codes: one character as itself, two as first*256+second.
constexpr long kCompareLess = '<';                 // 60
constexpr long kCompareGreater = '>';              // 62
constexpr long kCompareNotEqual = ('!' << 8) | '=';      // 8509
constexpr long kCompareLessEqual = ('<' << 8) | '=';     // 15421
constexpr long kCompareEqual = ('=' << 8) | '=';         // 15677
constexpr long kCompareGreaterEqual = ('>' << 8) | '=';  // 15933

// Aggregate kinds.
constexpr long kAggAvg = 0;
constexpr long kAggCount = 1;
constexpr long kAggMax = 2;
constexpr long kAggMin = 3;
constexpr long kAggSum = 4;

class PExprConstant : public ParvexExpr {
 public:
  explicit PExprConstant(const ParvexValue& v) : value(v) {}
  ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const override;
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  const ParvexValue* ConstantValue() const override { return &value; }

  ParvexValue value;
};

class PExprField : public ParvexExpr {
 public:
  PExprField(long tableIndex, long columnIndex) : table(tableIndex), column(columnIndex) {}
  ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const override;
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool PeekString(const ParvexEvalContext& context, std::string_view* text) const override;

  long table;
  long column;

 private:
  // The source table and row the field reads in `context`, or null.
  const ParvexTable* Source(const ParvexEvalContext& context, RowID* row) const;
};

class PExprMath : public ParvexExpr {
 public:
  PExprMath(char op, ParvexExprPtr left, ParvexExprPtr right);
  ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const override;
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override;

  char op;
  ParvexExprPtr left;
  ParvexExprPtr right;
};

class PExprCompare : public ParvexExpr {
 public:
  PExprCompare(long op, ParvexExprPtr left, ParvexExprPtr right);
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override;

  long op;
  ParvexExprPtr left;
  ParvexExprPtr right;
};

class PExprCompareLike : public ParvexExpr {
 public:
  PExprCompareLike(ParvexExprPtr value, ParvexExprPtr pattern, ParvexExprPtr escape);
  ~PExprCompareLike() override;
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override;

  ParvexExprPtr value;
  ParvexExprPtr pattern;
  ParvexExprPtr escape;  // may be null

 private:
  // The pattern last matched, prepared once and reused while the pattern
  // text and escape character stay the same (a constant pattern is read
  // once per statement, not once per row).
  const LikePattern& Prepared(const ParvexValue& patternValue, char escapeChar) const;

  mutable std::unique_ptr<LikePattern> mPrepared;
  mutable std::string mPreparedText;
  mutable char mPreparedEscape = 0;
};

class PExprNot : public ParvexExpr {
 public:
  explicit PExprNot(ParvexExprPtr operand);
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override;

  ParvexExprPtr operand;
};

class PExprAnd : public ParvexExpr {
 public:
  PExprAnd() = default;
  void Add(ParvexExprPtr operand) { operands.push_back(std::move(operand)); }
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override;

  std::vector<ParvexExprPtr> operands;
};

class PExprOr : public ParvexExpr {
 public:
  PExprOr() = default;
  void Add(ParvexExprPtr operand) { operands.push_back(std::move(operand)); }
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override;

  std::vector<ParvexExprPtr> operands;
};

class PExprScalarFunc : public ParvexExpr {
 public:
  PExprScalarFunc(ParvexFuncCode code, ParvexExprPtr a1, ParvexExprPtr a2, ParvexExprPtr a3);
  ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const override;
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;  // every present argument is valid
  bool HasAggregate() const override;

  ParvexFuncCode func;
  ParvexExprPtr arg1, arg2, arg3;  // each may be null
};

class PExprAggregate : public ParvexExpr {
 public:
  // `argument` is null for COUNT(*).
  PExprAggregate(long kind, ParvexExprPtr argument, bool distinct);
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override;
  string Description() const override;
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override;
  bool Valid() const override;
  bool HasAggregate() const override { return true; }

  ParvexExprPtr argument;
  long kind;
  bool distinct;
};

}  // namespace parvex
