// Conversion of scalar syntax nodes into executable expression trees.
//
// A conversion returns null when the tree cannot be built: a missing operand
// (left by a parse error), an unknown operator, or a name that resolves to no
// table or column. Only the name lookups set the status ("42S02", "42S22");
// for the others the caller reports that the expression couldn't be
// evaluated. Field references resolve against the FROM entries: a qualifier
// is matched against the names the statement uses for its tables (range
// variable, else table name), an unqualified column is taken from the first
// table in FROM order that has it.
#include <charconv>

#include "core/status.h"
#include "query/expr_nodes.h"
#include "sql/binder.h"
#include "sql/syntax_scalar.h"
#include "sql/syntax_statements.h"
#include "storage/trans.h"

namespace parvex {

namespace {

constexpr char kQuote = '\'';

// The comparison operator code for an SQL spelling, or 0.
long CompareCode(const string& op) {
  if (op.CompareWithCase("=") == 0) return kCompareEqual;
  if (op.CompareWithCase("<>") == 0) return kCompareNotEqual;
  if (op.CompareWithCase("<") == 0) return kCompareLess;
  if (op.CompareWithCase("<=") == 0) return kCompareLessEqual;
  if (op.CompareWithCase(">") == 0) return kCompareGreater;
  if (op.CompareWithCase(">=") == 0) return kCompareGreaterEqual;
  return 0;
}

ParvexExprPtr Convert(const SQLScalarExpPtr& node, const SimpleVector<string>& tableNames,
                      const SimpleVector<ParvexTable*>& tables, ParvexStatus* status) {
  return node ? node->ConvertToParvexExpr(tableNames, tables, status) : nullptr;
}

ParvexExprPtr Constant(const ParvexValue& value) { return std::make_unique<PExprConstant>(value); }

// True when `text` starts with `keyword` followed by a blank (any letter case).
bool HasKeywordPrefix(std::string_view text, std::string_view keyword) {
  return text.size() > keyword.size() && text[keyword.size()] == ' ' &&
         CompareNoCase(text.substr(0, keyword.size()), keyword) == 0;
}

// A select item that is a single column of a source table (not *, not NULL).
bool IsPlainColumn(const SQLScalarExpNode& node) {
  const auto* field = dynamic_cast<const SQLFieldRefNode*>(&node);
  if (!field) return false;
  const std::string_view name = field->name.view();
  return name != "*" && !(name.size() >= 2 && name.substr(name.size() - 2) == ".*") &&
         field->name.Compare("NULL") != 0;
}

bool IsUserColumn(const ParvexColumnInfo* info) { return info && info->name.Compare(kRowIDColumnName) != 0; }

}  // namespace

string StringLiteralValue(const string& text, char escape) {
  std::string value;
  const std::string_view bytes = text.view();
  size_t i = (!bytes.empty() && bytes[0] == kQuote) ? 1 : 0;
  while (i < bytes.size()) {
    const char c = bytes[i];
    if (escape != 0 && c == escape && i + 1 < bytes.size()) {
      // An escaped quote is a quote; other escapes stay for LIKE to read.
      if (bytes[i + 1] != kQuote) value += c;
      value += bytes[i + 1];
      i += 2;
    } else if (c == kQuote) {
      if (i + 1 < bytes.size() && bytes[i + 1] == kQuote) {
        value += kQuote;
        i += 2;
      } else {
        break;  // the closing quote
      }
    } else {
      value += c;
      ++i;
    }
  }
  return string(std::string_view(value), text.Encoding());
}

ParvexExprPtr SQLInfixOpNode::ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                                  const SimpleVector<ParvexTable*>& tables,
                                                  ParvexStatus* status) const {
  const bool isAnd = op.Compare("AND") == 0;
  if (isAnd || op.Compare("OR") == 0) {
    std::unique_ptr<PExprAnd> andNode;
    std::unique_ptr<PExprOr> orNode;
    if (isAnd) {
      andNode = std::make_unique<PExprAnd>();
    } else {
      orNode = std::make_unique<PExprOr>();
    }
    for (const auto& operand : operands) {
      ParvexExprPtr converted = Convert(operand, tableNames, tables, status);
      if (!converted) return nullptr;
      if (isAnd) {
        andNode->Add(std::move(converted));
      } else {
        orNode->Add(std::move(converted));
      }
    }
    if (isAnd) return andNode;
    return orNode;
  }
  if (operands.size() != 2 || !operands[0] || !operands[1]) return nullptr;
  const long compare = CompareCode(op);
  const bool math = op.length() == 1 && (op[0] == '+' || op[0] == '-' || op[0] == '*' || op[0] == '/');
  if (!compare && !math) return nullptr;
  ParvexExprPtr left = Convert(operands[0], tableNames, tables, status);
  if (!left) return nullptr;
  ParvexExprPtr right = Convert(operands[1], tableNames, tables, status);
  if (!right) return nullptr;
  if (math) return std::make_unique<PExprMath>(static_cast<char>(op[0]), std::move(left), std::move(right));
  return std::make_unique<PExprCompare>(compare, std::move(left), std::move(right));
}

ParvexExprPtr SQLLikeNode::ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                               const SimpleVector<ParvexTable*>& tables,
                                               ParvexStatus* status) const {
  if (!value || !pattern) return nullptr;
  ParvexExprPtr valueExpr = Convert(value, tableNames, tables, status);
  if (!valueExpr) return nullptr;
  ParvexExprPtr patternExpr = Convert(pattern, tableNames, tables, status);
  if (!patternExpr) return nullptr;
  ParvexExprPtr escapeExpr;
  if (escape) {
    escapeExpr = Convert(escape, tableNames, tables, status);
    if (!escapeExpr) return nullptr;
  }
  ParvexExprPtr like =
      std::make_unique<PExprCompareLike>(std::move(valueExpr), std::move(patternExpr), std::move(escapeExpr));
  if (negated) return std::make_unique<PExprNot>(std::move(like));
  return like;
}

ParvexExprPtr SQLNegationNode::ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                                   const SimpleVector<ParvexTable*>& tables,
                                                   ParvexStatus* status) const {
  // Negation is subtraction from zero.
  ParvexExprPtr converted = Convert(operand, tableNames, tables, status);
  if (!converted) return nullptr;
  return std::make_unique<PExprMath>('-', Constant(ParvexValue::Integer(0)), std::move(converted));
}

ParvexExprPtr SQLNotNode::ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                              const SimpleVector<ParvexTable*>& tables,
                                              ParvexStatus* status) const {
  ParvexExprPtr converted = Convert(operand, tableNames, tables, status);
  if (!converted) return nullptr;
  return std::make_unique<PExprNot>(std::move(converted));
}

ParvexExprPtr SQLFunctionNode::ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                                   const SimpleVector<ParvexTable*>& tables,
                                                   ParvexStatus* status) const {
  ParvexExprPtr args[kMaxOperands];
  for (int i = 0; i < kMaxOperands; ++i) {
    if (!operands[i]) continue;
    args[i] = operands[i]->ConvertToParvexExpr(tableNames, tables, status);
    if (!args[i]) return nullptr;
  }
  if (IsAggregateFunc(code)) {
    // Aggregate kinds follow the function table's order: AVG, COUNT, MAX, MIN, SUM.
    return std::make_unique<PExprAggregate>(code - kFuncAvg, std::move(args[0]), distinct);
  }
  return std::make_unique<PExprScalarFunc>(code, std::move(args[0]), std::move(args[1]), std::move(args[2]));
}

ParvexExprPtr SQLLiteralNode::ConvertToParvexExpr(const SimpleVector<string>&, const SimpleVector<ParvexTable*>&,
                                                  ParvexStatus*) const {
  const std::string_view bytes = text.view();
  if (text.Compare("TRUE") == 0) return Constant(ParvexValue::Boolean(true));
  if (text.Compare("FALSE") == 0) return Constant(ParvexValue::Boolean(false));
  if (!bytes.empty() && bytes[0] == kQuote) return Constant(ParvexValue::String(StringLiteralValue(text, escape)));
  static constexpr struct {
    std::string_view keyword;
    ParvexDataType type;
  } kDatetimes[] = {{"DATE", kTypeDate}, {"TIME", kTypeTime}, {"TIMESTAMP", kTypeTimestamp}};
  for (const auto& datetime : kDatetimes) {
    if (HasKeywordPrefix(bytes, datetime.keyword)) {
      const string quoted = text.Substring(datetime.keyword.size() + 1);
      return Constant(ParvexValue::Text(datetime.type, StringLiteralValue(quoted, escape)));
    }
  }
  if (text.Compare("LEADING") == 0 || text.Compare("TRAILING") == 0 || text.Compare("BOTH") == 0) {
    return Constant(ParvexValue::String(text));
  }
  if (bytes.find('.') != std::string_view::npos) {
    double number = 0.0;
    std::from_chars(bytes.data(), bytes.data() + bytes.size(), number);
    return Constant(ParvexValue::Double(number));
  }
  // Integers read the way a string's leading decimal number reads.
  return Constant(ParvexValue::Integer(ParvexValue::String(text).GetInteger()));
}

ParvexExprPtr SQLParameterNode::ConvertToParvexExpr(const SimpleVector<string>&, const SimpleVector<ParvexTable*>&,
                                                    ParvexStatus* status) const {
  if (!values) {
    SetStatus(status, kPXDynamicSQLError, string("Error: Parameter ?" + std::to_string(index) + " has no value."));
    return nullptr;
  }
  const size_t slot = static_cast<size_t>(index) - 1;
  return Constant(slot < values->size() ? (*values)[slot] : ParvexValue());
}

bool SQLFieldRefNode::Resolve(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                              ParvexStatus* status, long* tableIndex, long* columnIndex) const {
  const std::string_view full = name.view();
  const size_t dot = full.find('.');
  const std::string_view column = dot == std::string_view::npos ? full : full.substr(dot + 1);
  long first = 0;
  long last = static_cast<long>(std::min(tableNames.size(), tables.size()));
  if (dot != std::string_view::npos) {
    const long table = BindRangeName(full.substr(0, dot), tableNames, status);
    if (table < 0) return false;
    first = table;
    last = table + 1;
  }
  for (long t = first; t < last; ++t) {
    if (t >= static_cast<long>(tables.size()) || !tables[t]) continue;
    const long index = BindColumn(*tables[t], column);
    if (index >= 0) {
      *tableIndex = t;
      *columnIndex = index;
      return true;
    }
  }
  SetColumnNotFound(status, full);
  return false;
}

ParvexExprPtr SQLFieldRefNode::ConvertToParvexExpr(const SimpleVector<string>& tableNames,
                                                   const SimpleVector<ParvexTable*>& tables,
                                                   ParvexStatus* status) const {
  if (name.Compare("NULL") == 0) return Constant(ParvexValue());
  long table = 0;
  long column = 0;
  if (!Resolve(tableNames, tables, status, &table, &column)) return nullptr;
  return std::make_unique<PExprField>(table, column);
}

bool SQLScalarExpNode::ConvertToExprList(const SimpleVector<string>& tableNames,
                                         const SimpleVector<ParvexTable*>& tables, SimpleVector<ParvexExprPtr>& exprs,
                                         ParvexStatus* status, SimpleVector<string>* columnNames,
                                         SimpleVector<long>* columnIDs) const {
  ParvexExprPtr expr = ConvertToParvexExpr(tableNames, tables, status);
  if (!expr) return false;
  // An expression is named by its SQL text; it has no source column.
  expr->name = Description();
  if (columnNames) columnNames->push_back(expr->name);
  if (columnIDs) columnIDs->push_back(-1);
  exprs.push_back(std::move(expr));
  return true;
}

bool SQLFieldRefNode::ConvertToExprList(const SimpleVector<string>& tableNames,
                                        const SimpleVector<ParvexTable*>& tables, SimpleVector<ParvexExprPtr>& exprs,
                                        ParvexStatus* status, SimpleVector<string>* columnNames,
                                        SimpleVector<long>* columnIDs) const {
  auto append = [&](long table, long column) {
    const ParvexColumnInfo* info = tables[table]->Column(column);
    auto field = std::make_unique<PExprField>(table, column);
    field->name = info ? info->name : string();
    if (columnNames) columnNames->push_back(field->name);
    if (columnIDs) columnIDs->push_back(info ? info->columnID : -1);
    exprs.push_back(std::move(field));
  };
  const std::string_view full = name.view();
  const bool star = full == "*";
  const bool qualifiedStar = full.size() > 2 && full.substr(full.size() - 2) == ".*";
  if (star || qualifiedStar) {
    // Every user column of every FROM table, or of the one named.
    long first = 0;
    long last = static_cast<long>(std::min(tableNames.size(), tables.size()));
    if (qualifiedStar) {
      const long table = BindRangeName(full.substr(0, full.size() - 2), tableNames, status);
      if (table < 0) return false;
      first = table;
      last = table + 1;
    }
    for (long t = first; t < last; ++t) {
      if (t >= static_cast<long>(tables.size()) || !tables[t]) continue;
      for (long c = 0; c < tables[t]->QtyColumns(); ++c) {
        if (IsUserColumn(tables[t]->Column(c))) append(t, c);
      }
    }
    return true;
  }
  if (name.Compare("NULL") == 0) {
    return SQLScalarExpNode::ConvertToExprList(tableNames, tables, exprs, status, columnNames, columnIDs);
  }
  long table = 0;
  long column = 0;
  if (!Resolve(tableNames, tables, status, &table, &column)) return false;
  append(table, column);
  return true;
}

bool SQLSelectItemNode::ConvertToExprList(const SimpleVector<string>& tableNames,
                                          const SimpleVector<ParvexTable*>& tables, SimpleVector<ParvexExprPtr>& exprs,
                                          ParvexStatus* status, SimpleVector<string>* columnNames,
                                          SimpleVector<long>* columnIDs) const {
  if (!expr) return false;
  const size_t before = exprs.size();
  const size_t namesBefore = columnNames ? columnNames->size() : 0;
  if (!expr->ConvertToExprList(tableNames, tables, exprs, status, columnNames, columnIDs)) return false;
  if (alias.empty() || exprs.size() != before + 1) return true;
  // The alias names the result column; a plain column keeps its source
  // column's name in the list, anything else takes the alias there too.
  exprs.back()->name = alias;
  if (columnNames && columnNames->size() == namesBefore + 1 && !IsPlainColumn(*expr)) columnNames->back() = alias;
  return true;
}

}  // namespace parvex
