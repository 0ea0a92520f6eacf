// Scalar syntax nodes: construction and canonical SQL printing.
#include "sql/syntax_scalar.h"

#include <cassert>

namespace parvex {

string SQLSyntaxNode::Description() const {
  std::string out;
  AppendSQL(out);
  return string(std::string_view(out), encoding);
}

void SQLInfixOpNode::AddOperand(SQLScalarExpPtr operand) {
  NoteChild(operand.get());
  operands.push_back(std::move(operand));
}

void SQLInfixOpNode::AppendSQL(std::string& out) const {
  // AND and OR print with blanks around the keyword; every other operator
  // sits between its operands with no blanks.
  const bool logical = op.Compare("AND") == 0 || op.Compare("OR") == 0;
  out += '(';
  for (size_t i = 0; i < operands.size(); ++i) {
    if (i > 0) {
      if (logical) {
        out += ' ';
        out += op.view();
        out += ' ';
      } else {
        out += op.view();
      }
    }
    AppendSQLOf(operands[i].get(), out);
  }
  out += ')';
}

void SQLParameterNode::AppendSQL(std::string& out) const {
  out += '?';
  if (numbered) out += std::to_string(index);
}

SQLLikeNode::SQLLikeNode(SQLScalarExpPtr valueNode, SQLScalarExpPtr patternNode,
                         SQLScalarExpPtr escapeNode, bool isNegated)
    : value(std::move(valueNode)),
      pattern(std::move(patternNode)),
      escape(std::move(escapeNode)),
      negated(isNegated) {
  NoteChild(value.get());
  NoteChild(pattern.get());
  NoteChild(escape.get());
}

void SQLLikeNode::AppendSQL(std::string& out) const {
  AppendSQLOf(value.get(), out);
  out += negated ? " NOT LIKE " : " LIKE ";
  AppendSQLOf(pattern.get(), out);
  if (escape) {
    out += " ESCAPE ";
    escape->AppendSQL(out);
  }
}

SQLNegationNode::SQLNegationNode(SQLScalarExpPtr operandNode) : operand(std::move(operandNode)) {
  NoteChild(operand.get());
}

void SQLNegationNode::AppendSQL(std::string& out) const {
  out += "-(";
  AppendSQLOf(operand.get(), out);
  out += ')';
}

SQLNotNode::SQLNotNode(SQLScalarExpPtr operandNode) : operand(std::move(operandNode)) {
  NoteChild(operand.get());
}

void SQLNotNode::AppendSQL(std::string& out) const {
  out += "NOT ";
  AppendSQLOf(operand.get(), out);
}

void SQLLiteralNode::AppendSQL(std::string& out) const { out += text.view(); }

bool SQLFieldRefNode::IsKeywordDefault() const { return name.Compare("DEFAULT") == 0; }

void SQLFieldRefNode::AppendSQL(std::string& out) const { out += name.view(); }

void SQLFunctionNode::SetOperand(int index, SQLScalarExpPtr operand) {
  assert(index >= 0 && index < kMaxOperands);
  NoteChild(operand.get());
  operands[index] = std::move(operand);
}

void SQLFunctionNode::AppendSQL(std::string& out) const {
  out += ParvexFuncName(code).view();
  if (!hasParens) return;
  out += '(';
  const SQLSyntaxNode* a1 = operands[0].get();
  const SQLSyntaxNode* a2 = operands[1].get();
  const SQLSyntaxNode* a3 = operands[2].get();
  if (code == kFuncPosition) {
    // Stored as (searched in, searched for); written the other way round.
    AppendSQLOf(a2, out);
    out += " IN ";
    AppendSQLOf(a1, out);
  } else if (code == kFuncSubstring) {
    AppendSQLOf(a1, out);
    out += " FROM ";
    AppendSQLOf(a2, out);
    if (a3) {
      out += " FOR ";
      a3->AppendSQL(out);
    }
  } else if (code == kFuncTrim && (a2 || a3)) {
    if (a3) {
      a3->AppendSQL(out);
      out += ' ';
    }
    if (a2) {
      a2->AppendSQL(out);
      out += ' ';
    }
    out += "FROM ";
    AppendSQLOf(a1, out);
  } else if (star) {
    out += '*';
  } else {
    // ALL is the default for aggregates and is not printed.
    if (distinct) out += "DISTINCT ";
    bool first = true;
    for (const auto& operand : operands) {
      if (!operand) continue;
      if (!first) out += ", ";
      operand->AppendSQL(out);
      first = false;
    }
  }
  out += ')';
}

}  // namespace parvex
