// Scalar syntax nodes: the expressions of select items, conditions and values.
//
// SQLScalarExpNode is the base of infix operations (arithmetic, comparisons,
// n-ary AND/OR), LIKE, negation, NOT, literals, field references and function
// calls. Each node knows its height (1 for a leaf, one more than its highest
// child otherwise) so that the parser can refuse trees too deep to print,
// convert or destroy without exhausting the stack. Children are added through
// the constructors and AddOperand/SetOperand, which keep the height right;
// the fields are public for reading.
#pragma once

#include <memory>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "query/expr.h"
#include "query/functions.h"
#include "sql/syntax_node.h"

namespace parvex {

using ParvexExprPtr = std::unique_ptr<ParvexExpr>;

class SQLScalarExpNode : public SQLSyntaxNode {
 public:
  // The executable expression for this node (owned by the caller), or null
  // when it cannot be built. `tableNames` holds, per FROM entry, the name the
  // statement refers to it by (range variable, else table name); `tables`
  // the tables in the same order. An unknown table or column sets the status
  // ("42S02" / "42S22"); other failures leave the status alone.
  virtual ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                            const SimpleVector<ParvexTable*>& tables,
                                            ParvexStatus* status) const = 0;
  // Appends the expressions of one select item to `exprs`, and for each its
  // source column's name and column ID to the optional lists. An expression
  // that is not a plain column is named by its SQL text and gets the ID -1.
  // False (with nothing or only part appended) when a conversion failed.
  virtual bool ConvertToExprList(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                 SimpleVector<ParvexExprPtr>& exprs, ParvexStatus* status,
                                 SimpleVector<string>* columnNames, SimpleVector<long>* columnIDs) const;
  // True only for a field reference whose name is the keyword DEFAULT (an
  // INSERT or UPDATE value that asks for the column's default).
  virtual bool IsKeywordDefault() const { return false; }
  int Height() const { return mHeight; }

 protected:
  // Raises the height to cover a newly attached child.
  void NoteChild(const SQLScalarExpNode* child) {
    if (child && child->Height() + 1 > mHeight) mHeight = child->Height() + 1;
  }

 private:
  int mHeight = 1;
};

using SQLScalarExpPtr = std::unique_ptr<SQLScalarExpNode>;

// An infix operation: "+", "-", "*", "/", a comparison ("=", "<>", "<",
// "<=", ">", ">=") with two operands, or "AND"/"OR" with any number.
class SQLInfixOpNode : public SQLScalarExpNode {
 public:
  explicit SQLInfixOpNode(const string& opText) : op(opText) {}
  void AddOperand(SQLScalarExpPtr operand);
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  string op;
  SimpleVector<SQLScalarExpPtr> operands;  // entries may be null after a parse error
};

// value [NOT] LIKE pattern [ESCAPE escape]
class SQLLikeNode : public SQLScalarExpNode {
 public:
  SQLLikeNode(SQLScalarExpPtr valueNode, SQLScalarExpPtr patternNode, SQLScalarExpPtr escapeNode,
              bool isNegated);
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  SQLScalarExpPtr value;
  SQLScalarExpPtr pattern;
  SQLScalarExpPtr escape;  // null when no ESCAPE clause was given
  bool negated;
};

// Unary minus.
class SQLNegationNode : public SQLScalarExpNode {
 public:
  explicit SQLNegationNode(SQLScalarExpPtr operandNode);
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  SQLScalarExpPtr operand;
};

// Logical negation. The dialect discards a leading NOT while parsing, so the
// parser never builds this node; it exists for trees built by code.
class SQLNotNode : public SQLScalarExpNode {
 public:
  explicit SQLNotNode(SQLScalarExpPtr operandNode);
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  SQLScalarExpPtr operand;
};

// A number, a quoted string (quotes and doubled quotes kept), TRUE, FALSE, a
// DATE/TIME/TIMESTAMP literal (keyword, blank, quoted text) or a TRIM mode
// word, with the escape byte that was current when it was parsed.
class SQLLiteralNode : public SQLScalarExpNode {
 public:
  SQLLiteralNode(const string& literalText, char escapeByte) : text(literalText), escape(escapeByte) {}
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  string text;
  char escape;
};

// A column reference: "name", "range.name", "*" or "range.*". The names
// NULL and DEFAULT are also read as field references.
class SQLFieldRefNode : public SQLScalarExpNode {
 public:
  explicit SQLFieldRefNode(const string& fieldName) : name(fieldName) {}
  bool IsKeywordDefault() const override;
  // `*` and `T.*` expand to the user columns (not `_rowid`) of every FROM
  // table or of T; a column is named by its own name and column ID.
  bool ConvertToExprList(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                         SimpleVector<ParvexExprPtr>& exprs, ParvexStatus* status, SimpleVector<string>* columnNames,
                         SimpleVector<long>* columnIDs) const override;
  // Finds the table and column a (possibly qualified) name refers to; false
  // with the status set when there is none.
  bool Resolve(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
               ParvexStatus* status, long* tableIndex, long* columnIndex) const;
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  string name;
};

// A placeholder, `?` or `?NNN`, standing where a literal may stand. Its
// value comes from the parameter list the parser was given (a prepared
// statement's bound values): the node converts to a constant holding the
// value bound at `index` (1-based; NULL when none was bound), so a value
// never passes through SQL text. Without a parameter list (text run directly)
// conversion fails with "Error: Parameter ?N has no value.". Prints as `?`,
// or `?N` when the text numbered it.
class SQLParameterNode : public SQLScalarExpNode {
 public:
  SQLParameterNode(int parameterIndex, bool isNumbered, const std::vector<ParvexValue>* parameterValues)
      : index(parameterIndex), numbered(isNumbered), values(parameterValues) {}
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  int index;
  bool numbered;
  const std::vector<ParvexValue>* values;  // not owned; null when the statement has no bindings
};

// A call of a built-in function. Operand order follows the function table's
// argument order: POSITION(x IN y) stores y then x (the text searched in
// first), SUBSTRING(x FROM n FOR m) stores x, n, m, TRIM(mode c FROM x)
// stores x, c, mode (c and mode may be absent).
class SQLFunctionNode : public SQLScalarExpNode {
 public:
  static constexpr int kMaxOperands = 3;

  explicit SQLFunctionNode(ParvexFuncCode funcCode) : code(funcCode) {}
  void SetOperand(int index, SQLScalarExpPtr operand);
  ParvexExprPtr ConvertToParvexExpr(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                                    ParvexStatus* status) const override;
  void AppendSQL(std::string& out) const override;

  ParvexFuncCode code;
  SQLScalarExpPtr operands[kMaxOperands];
  bool distinct = false;   // aggregate with DISTINCT
  bool hasParens = false;  // an argument list was written (CURRENT_DATE has none)
  bool star = false;       // COUNT(*)
};

// The value of a quoted literal's text: the quotes removed, doubled quotes
// undone, and an escape byte before a quote dropped (other escape sequences
// are kept for LIKE). A literal left open at the end of the statement runs to
// the end of the text.
string StringLiteralValue(const string& text, char escape);

}  // namespace parvex
