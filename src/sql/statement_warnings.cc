// Statement warnings: the parsed tree is walked once, bottom-up, computing
// the type of value each expression has when it runs (which is what decides
// arithmetic and comparisons), and each rule that changes the meaning is
// reported where it applies.
//
// Value types follow evaluation, not the static result types of result
// columns: an AVG is a Double, a SUM of a Double is a Double, MAX and MIN
// keep their argument's type, arithmetic has its left operand's type, and
// comparisons, LIKE, AND, OR and a negation are Integers.
#include "sql/statement_warnings.h"

#include <cmath>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "db/database.h"
#include "query/expr_nodes.h"
#include "sql/binder.h"
#include "sql/parser.h"
#include "sql/sql_dialect.h"

namespace parvex {

namespace {

// The FROM entries an expression is evaluated against.
struct Scope {
  SimpleVector<string> names;
  SimpleVector<ParvexTable*> tables;
};

std::string Text(const SQLSyntaxNode* node) { return node ? std::string(node->Description().view()) : std::string(); }

bool IsOp(const SQLInfixOpNode& node, const char* op) { return node.op.Compare(op) == 0; }

bool IsArithmetic(const SQLInfixOpNode& node) {
  return node.operands.size() == 2 && (IsOp(node, "+") || IsOp(node, "-") || IsOp(node, "*") || IsOp(node, "/"));
}

// The operator that gives the opposite answer, or null for none.
const char* OppositeComparison(const SQLInfixOpNode& node) {
  static constexpr const char* kPairs[][2] = {{"=", "<>"}, {"<>", "="}, {"<", ">="},
                                              {">=", "<"}, {">", "<="}, {"<=", ">"}};
  if (node.operands.size() != 2) return nullptr;
  for (const auto& pair : kPairs) {
    if (node.op.CompareWithCase(pair[0]) == 0) return pair[1];
  }
  return nullptr;
}

bool IsTextDomain(ParvexDataType type) {
  return type == kTypeString || type == kTypeDate || type == kTypeTime || type == kTypeTimestamp;
}

// The value of a literal node (NULL for anything else).
ParvexValue LiteralValue(const SQLScalarExpNode* node) {
  const auto* literal = dynamic_cast<const SQLLiteralNode*>(node);
  if (!literal) return ParvexValue::Null();
  const Scope none;
  ParvexStatus ignored;
  ParvexExprPtr expr = literal->ConvertToParvexExpr(none.names, none.tables, &ignored);
  const auto* constant = dynamic_cast<const PExprConstant*>(expr.get());
  return constant ? constant->value : ParvexValue::Null();
}

// A Double literal that an Integer reading keeps exactly (3.0): arithmetic
// and comparisons with it as the right operand mean what they say.
bool IsWholeDoubleLiteral(const SQLScalarExpNode* node) {
  const ParvexValue value = LiteralValue(node);
  if (value.Type() != kTypeDouble) return false;
  const double number = value.GetDouble();
  return std::trunc(number) == number && std::fabs(number) <= 2147483647.0;
}

// A literal whole number of at least 1 (8, 8.0). A Double is below such a
// bound exactly when its whole part is: `price < 8` and `price >= 8` are
// decided right by the integer readings, whatever the price.
bool IsPositiveWholeLiteral(const SQLScalarExpNode* node) {
  const ParvexValue value = LiteralValue(node);
  if (value.Type() == kTypeInteger) return value.GetInteger() >= 1;
  return IsWholeDoubleLiteral(node) && value.GetDouble() >= 1;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c;
    if (c == '\'') quoted += '\'';
  }
  return quoted + "'";
}

// A short quotation of left-over text.
std::string Excerpt(std::string_view text) {
  constexpr size_t kLimit = 60;
  std::string excerpt(1, '"');
  excerpt += text.substr(0, kLimit);
  excerpt += text.size() <= kLimit ? "\"" : "...\"";
  return excerpt;
}

class Analyzer {
 public:
  Analyzer(const ParvexDatabase& db, const ParvexSQLParser& parser, std::vector<StatementWarning>* out)
      : mDatabase(db), mOut(out) {
    for (const SQLScalarExpNode* node : parser.DiscardedNots()) ++mDiscardedNots[node];
  }

  void Statement(const SQLSyntaxNode& node);

 private:
  void Add(StatementWarningKind kind, std::string message, std::string hint) {
    mOut->push_back({kind, std::move(message), std::move(hint)});
  }
  // The tables of a FROM list; false when one does not exist.
  bool BindFrom(const SQLSelectNode& select, Scope* scope) const;
  // One table by name as the statement's only FROM entry.
  Scope TableScope(const string& name) const;

  void Select(const SQLSelectNode& select);
  void CheckOrderBy(const SQLSelectNode& select, const Scope& scope, const std::vector<ParvexDataType>& itemTypes);

  // The value type of an expression, reporting what its parts do.
  ParvexDataType Visit(const SQLScalarExpNode* node, const Scope& scope);
  ParvexDataType VisitInfix(const SQLInfixOpNode& node, const Scope& scope);
  ParvexDataType VisitFunction(const SQLFunctionNode& node, const Scope& scope);
  ParvexDataType FieldType(const SQLFieldRefNode& node, const Scope& scope) const;
  void CheckArithmetic(const SQLInfixOpNode& node, ParvexDataType left, ParvexDataType right);
  void CheckNegation(const SQLNegationNode& node, ParvexDataType operand);
  void CheckComparison(const SQLInfixOpNode& node, ParvexDataType left, ParvexDataType right);
  void CheckDroppedNot(const SQLScalarExpNode& node, ParvexDataType type, const Scope& scope);
  // The condition that answers the opposite of `node`, as SQL text; empty
  // when there is no simple one.
  std::string Opposite(const SQLScalarExpNode& node, ParvexDataType type, const Scope& scope) const;

  const ParvexDatabase& mDatabase;
  std::vector<StatementWarning>* mOut;
  std::unordered_map<const SQLScalarExpNode*, int> mDiscardedNots;
};

bool Analyzer::BindFrom(const SQLSelectNode& select, Scope* scope) const {
  for (const auto& ref : select.tables) {
    ParvexTable* table = BindQueryTable(mDatabase, ref->tableName, nullptr);
    if (!table) return false;
    scope->tables.push_back(table);
    scope->names.push_back(ref->ReferenceName());
  }
  return true;
}

Scope Analyzer::TableScope(const string& name) const {
  Scope scope;
  if (ParvexTable* table = BindTable(mDatabase, name, nullptr)) {
    scope.tables.push_back(table);
    scope.names.push_back(table->name);
  }
  return scope;
}

void Analyzer::Statement(const SQLSyntaxNode& node) {
  const Scope none;
  if (node.IsSelect()) {
    Select(static_cast<const SQLSelectNode&>(node));
  } else if (node.IsInsert()) {
    const auto& insert = static_cast<const SQLInsertNode&>(node);
    for (const auto& value : insert.values) Visit(value.get(), none);
    if (insert.select) Select(*insert.select);
  } else if (node.IsUpdate()) {
    const auto& update = static_cast<const SQLUpdateNode&>(node);
    const Scope scope = TableScope(update.tableName);
    for (const auto& value : update.values) Visit(value.get(), scope);
    Visit(update.where.get(), scope);
  } else if (node.IsDelete()) {
    const auto& remove = static_cast<const SQLDeleteNode&>(node);
    Visit(remove.where.get(), TableScope(remove.tableName));
  } else if (node.IsCreateTable()) {
    for (const auto& column : static_cast<const SQLCreateTableNode&>(node).columns) {
      Visit(column->defaultValue.get(), none);
    }
  } else if (node.IsAlterTable()) {
    const auto& alter = static_cast<const SQLAlterTableNode&>(node);
    if (alter.column) Visit(alter.column->defaultValue.get(), none);
  }
}

void Analyzer::Select(const SQLSelectNode& select) {
  Scope scope;
  const bool bound = BindFrom(select, &scope);
  if (!bound) scope = Scope();  // expressions are still read for what needs no types
  std::vector<ParvexDataType> itemTypes;
  for (const auto& item : select.items) itemTypes.push_back(Visit(item->expr.get(), scope));
  Visit(select.where.get(), scope);
  Visit(select.having.get(), scope);
  if (bound) CheckOrderBy(select, scope, itemTypes);
}

void Analyzer::CheckOrderBy(const SQLSelectNode& select, const Scope& scope,
                            const std::vector<ParvexDataType>& itemTypes) {
  if (select.orderBy.empty()) return;
  // The result columns, named as the query names them: alias, column name,
  // else the expression's text.
  SimpleVector<ParvexExprPtr> columns;
  std::vector<ParvexDataType> types;
  for (size_t i = 0; i < select.items.size(); ++i) {
    const size_t before = columns.size();
    ParvexStatus status;
    if (!select.items[i]->ConvertToExprList(scope.names, scope.tables, columns, &status, nullptr, nullptr) ||
        IsErrorState(status.State())) {
      return;  // the statement fails; its error says why
    }
    for (size_t c = before; c < columns.size(); ++c) {
      const auto* field = dynamic_cast<const PExprField*>(columns[c].get());
      types.push_back(field ? field->GetType(scope.tables) : itemTypes[i]);
    }
  }
  for (const string& key : select.orderBy) {
    const std::string name(key.view());
    size_t found = columns.size();
    for (size_t c = 0; c < columns.size() && found == columns.size(); ++c) {
      const string& output = columns[c]->name.empty() ? columns[c]->Description() : columns[c]->name;
      if (output.Compare(key) == 0) found = c;
    }
    if (found == columns.size()) {
      // ORDER BY T.c does not find the result column c: it takes result names only.
      const size_t dot = name.find('.');
      const std::string column = dot == std::string::npos ? name : name.substr(dot + 1);
      bool named = false;
      for (size_t c = 0; c < columns.size() && dot != std::string::npos && !named; ++c) {
        named = columns[c]->name.Compare(column.c_str()) == 0;
      }
      Add(StatementWarningKind::kOrderSkipped,
          "ORDER BY " + name + " is skipped: no result column is called " + name,
          named ? "write ORDER BY " + column + " (ORDER BY takes the name of a result column, without its table)"
                : "put " + name + " into the select list (ORDER BY sorts by result columns)");
    } else if (types[found] == kTypeDouble) {
      Add(StatementWarningKind::kDoubleOrder,
          "ORDER BY " + name + " sorts the Double values by their text (10.5 before 9.2)",
          "sort by an Integer column instead (amounts in cents sort right)");
    }
  }
}

ParvexDataType Analyzer::FieldType(const SQLFieldRefNode& node, const Scope& scope) const {
  if (node.name.Compare("NULL") == 0) return kTypeNone;
  long table = 0;
  long column = 0;
  if (!node.Resolve(scope.names, scope.tables, nullptr, &table, &column)) return kTypeNone;
  const ParvexColumnInfo* info = scope.tables[table]->Column(column);
  return info ? info->Type() : kTypeNone;
}

ParvexDataType Analyzer::Visit(const SQLScalarExpNode* node, const Scope& scope) {
  if (!node) return kTypeNone;
  ParvexDataType type = kTypeNone;
  if (const auto* infix = dynamic_cast<const SQLInfixOpNode*>(node)) {
    type = VisitInfix(*infix, scope);
  } else if (const auto* like = dynamic_cast<const SQLLikeNode*>(node)) {
    Visit(like->value.get(), scope);
    Visit(like->pattern.get(), scope);
    Visit(like->escape.get(), scope);
    type = kTypeInteger;
  } else if (const auto* negation = dynamic_cast<const SQLNegationNode*>(node)) {
    CheckNegation(*negation, Visit(negation->operand.get(), scope));
    type = kTypeInteger;  // 0 minus the operand, on Integers
  } else if (const auto* logicalNot = dynamic_cast<const SQLNotNode*>(node)) {
    Visit(logicalNot->operand.get(), scope);
    type = kTypeInteger;
  } else if (const auto* function = dynamic_cast<const SQLFunctionNode*>(node)) {
    type = VisitFunction(*function, scope);
  } else if (const auto* field = dynamic_cast<const SQLFieldRefNode*>(node)) {
    type = FieldType(*field, scope);
  } else if (dynamic_cast<const SQLLiteralNode*>(node)) {
    type = LiteralValue(node).Type();
  }
  CheckDroppedNot(*node, type, scope);
  return type;
}

ParvexDataType Analyzer::VisitInfix(const SQLInfixOpNode& node, const Scope& scope) {
  std::vector<ParvexDataType> types;
  for (const auto& operand : node.operands) types.push_back(Visit(operand.get(), scope));
  if (IsArithmetic(node)) {
    CheckArithmetic(node, types[0], types[1]);
    return types[0] == kTypeString ? kTypeString : types[0];
  }
  if (OppositeComparison(node)) CheckComparison(node, types[0], types[1]);
  return kTypeInteger;
}

ParvexDataType Analyzer::VisitFunction(const SQLFunctionNode& node, const Scope& scope) {
  ParvexDataType argument = kTypeNone;
  for (int i = 0; i < SQLFunctionNode::kMaxOperands; ++i) {
    const ParvexDataType type = Visit(node.operands[i].get(), scope);
    if (i == 0) argument = type;
  }
  switch (node.code) {
    case kFuncAvg:
      return kTypeDouble;
    case kFuncSum:
      return argument == kTypeDouble ? kTypeDouble : kTypeInteger;
    case kFuncMax:
    case kFuncMin:
      return argument;
    default:
      return ParvexFuncResultType(node.code);
  }
}

void Analyzer::CheckArithmetic(const SQLInfixOpNode& node, ParvexDataType left, ParvexDataType right) {
  const std::string text = Text(&node);
  const std::string leftText = Text(node.operands[0].get());
  const std::string cents = "keep amounts that need arithmetic as Integers of the smallest unit (cents) and compute with those";
  if (left == kTypeString) {
    if (IsOp(node, "+")) return;  // joins texts
    Add(StatementWarningKind::kArithmetic,
        text + " is " + leftText + " unchanged: with a String on the left only + does something (it joins texts)",
        "keep numbers that need arithmetic in an Integer column");
    return;
  }
  if (left == kTypeInteger) {
    if (right != kTypeDouble || IsWholeDoubleLiteral(node.operands[1].get())) return;
    Add(StatementWarningKind::kArithmetic,
        text + " is computed on Integers: the Double " + Text(node.operands[1].get()) + " loses its fraction", cents);
    return;
  }
  if (left == kTypeNone) return;  // NULL stays NULL, as in any SQL
  const char* typeName = TypeName(left);
  std::string hint = cents;
  if (left == kTypeDate || left == kTypeTime || left == kTypeTimestamp) {
    hint = "the dialect has no date or time arithmetic: compute it in the program";
  } else if (left == kTypeBoolean) {
    hint = "a Boolean takes no arithmetic: keep 0 and 1 in an Integer column to compute with them";
  } else if (left != kTypeDouble) {
    hint = "the dialect has no arithmetic on this type";
  }
  Add(StatementWarningKind::kArithmetic,
      text + " is " + leftText + " unchanged: arithmetic happens only with an Integer or a String on the left, and " +
          leftText + " is a " + (typeName ? typeName : "value of another type"),
      hint);
}

void Analyzer::CheckNegation(const SQLNegationNode& node, ParvexDataType operand) {
  if (operand != kTypeDouble || IsWholeDoubleLiteral(node.operand.get())) return;
  const std::string operandText = Text(node.operand.get());
  const ParvexValue literal = LiteralValue(node.operand.get());
  if (literal.Type() == kTypeDouble) {
    const long whole = static_cast<long>(-std::trunc(literal.GetDouble()));
    Add(StatementWarningKind::kArithmetic,
        "-" + operandText + " is 0 - " + operandText + " done on Integers, which gives " + std::to_string(whole),
        "the dialect has no negative fractions: write a whole number, or store one from text (" +
            Quoted("-" + operandText) + " into a Double column)");
    return;
  }
  Add(StatementWarningKind::kArithmetic,
      Text(&node) + " is 0 - " + operandText + " done on Integers: the Double loses its fraction",
      "keep amounts that need arithmetic as Integers of the smallest unit (cents) and compute with those");
}

void Analyzer::CheckComparison(const SQLInfixOpNode& node, ParvexDataType left, ParvexDataType right) {
  // Text, dates and times compare as text; a Boolean on either side makes
  // both Booleans; NULL (a trap of its own) or an unknown name says nothing.
  if (IsTextDomain(left) || left == kTypeBoolean || right == kTypeBoolean || left == kTypeNone ||
      right == kTypeNone) {
    return;
  }
  const SQLScalarExpNode* rightNode = node.operands[1].get();
  const bool rightCut = right == kTypeDouble && !(left == kTypeInteger && IsWholeDoubleLiteral(rightNode));
  if (left != kTypeDouble && !rightCut) return;
  const std::string op(node.op.view());
  if ((IsPositiveWholeLiteral(rightNode) && (op == "<" || op == ">=")) ||
      (IsPositiveWholeLiteral(node.operands[0].get()) && (op == ">" || op == "<="))) {
    return;
  }
  const bool equality = op == "=" || op == "<>";
  const ParvexValue bound = LiteralValue(rightNode);
  std::string message = Text(&node) + " compares whole numbers: ";
  std::string hint = "keep the amounts as Integers (cents) and compare those";
  if (left == kTypeInteger && bound.Type() == kTypeDouble) {
    // An Integer against a fraction: the whole number that was meant can be written.
    const double number = bound.GetDouble();
    const std::string leftText = Text(node.operands[0].get());
    message += Text(rightNode) + " is read as " + std::to_string(static_cast<long long>(std::trunc(number)));
    if (equality) {
      hint = std::string("no Integer equals ") + Text(rightNode) + (op == "=" ? ": the condition can't be true" : "") +
             (op == "<>" ? ": the condition is always true" : "") + "; compare with a whole number";
    } else if (std::isfinite(number)) {
      const bool above = op == ">" || op == ">=";
      hint = "compare with the whole number meant: " + leftText + (above ? " >= " : " <= ") +
             std::to_string(static_cast<long long>(above ? std::ceil(number) : std::floor(number)));
    }
  } else {
    message += "a Double is read without its fraction (2.3 = 2.7 is true)";
    if (equality) {
      // Texts compare exactly; a Double's text is the shortest one that reads back as it.
      const auto side = [](const SQLScalarExpNode* operand) {
        const ParvexValue value = LiteralValue(operand);
        if (value.Type() == kTypeDouble || value.Type() == kTypeInteger) return Quoted(value.GetString().view());
        return "'' + " + Text(operand);
      };
      hint = "for an exact match compare the texts (" + side(node.operands[0].get()) + " " + op + " " +
             side(rightNode) + "), or " + hint;
    }
  }
  Add(StatementWarningKind::kDoubleComparison, message, hint);
}

void Analyzer::CheckDroppedNot(const SQLScalarExpNode& node, ParvexDataType type, const Scope& scope) {
  const auto found = mDiscardedNots.find(&node);
  // Two NOTs dropped from one condition cancel out.
  if (found == mDiscardedNots.end() || found->second % 2 == 0) return;
  const std::string text = Text(&node);
  const std::string opposite = Opposite(node, type, scope);
  Add(StatementWarningKind::kDroppedNot,
      "the NOT before " + text + " was dropped: the dialect discards a leading NOT, so this runs as " + text,
      opposite.empty() ? "write the opposite condition instead (<> for =, <= for >, NOT LIKE for LIKE)"
                       : "write the opposite condition: " + opposite);
}

std::string Analyzer::Opposite(const SQLScalarExpNode& node, ParvexDataType type, const Scope& scope) const {
  if (const auto* infix = dynamic_cast<const SQLInfixOpNode*>(&node)) {
    if (const char* op = OppositeComparison(*infix)) {
      std::string opposite(1, '(');
      opposite += Text(infix->operands[0].get());
      opposite += op;
      opposite += Text(infix->operands[1].get());
      return opposite + ")";
    }
    const bool andNode = IsOp(*infix, "AND");
    if (!andNode && !IsOp(*infix, "OR")) return std::string();
    // De Morgan: NOT (a AND b) is (NOT a) OR (NOT b).
    std::string text = "(";
    for (size_t i = 0; i < infix->operands.size(); ++i) {
      const SQLScalarExpNode* operand = infix->operands[i].get();
      // An operand whose own NOT was dropped is already the opposite of what it says.
      const auto dropped = mDiscardedNots.find(operand);
      const bool negated = dropped != mDiscardedNots.end() && dropped->second % 2 == 1;
      const std::string part = !operand ? std::string() : negated ? Text(operand) : Opposite(*operand, kTypeNone, scope);
      if (part.empty()) return std::string();
      if (i > 0) text += andNode ? " OR " : " AND ";
      text += part;
    }
    return text + ")";
  }
  if (const auto* like = dynamic_cast<const SQLLikeNode*>(&node)) {
    std::string text = Text(like->value.get()) + (like->negated ? " LIKE " : " NOT LIKE ") + Text(like->pattern.get());
    if (like->escape) text += " ESCAPE " + Text(like->escape.get());
    return text;
  }
  const auto* field = dynamic_cast<const SQLFieldRefNode*>(&node);
  if (field && type == kTypeNone) type = FieldType(*field, scope);
  if (field && type == kTypeBoolean) return "(" + Text(field) + "=FALSE)";
  return std::string();
}

// Text the parser did not read: a ';' and blanks behind the statement are
// no loss.
void ReportUnreadText(const SQLSyntaxNode& node, std::string_view text, size_t stop,
                      std::vector<StatementWarning>* out) {
  std::string_view rest = stop < text.size() ? text.substr(stop) : std::string_view();
  rest = rest.substr(0, rest.find('\0'));  // the engine reads up to the first NUL
  while (!rest.empty() && (IsSqlBlank(rest.back()) || rest.back() == ';')) rest.remove_suffix(1);
  while (!rest.empty() && IsSqlBlank(rest.front())) rest.remove_prefix(1);

  if (node.IsSelect()) {
    // LIMIT, OFFSET and FETCH behind a table read as its range variable.
    for (const auto& ref : static_cast<const SQLSelectNode&>(node).tables) {
      const string& alias = ref->rangeVariable;
      if (alias.Compare("LIMIT") != 0 && alias.Compare("OFFSET") != 0 && alias.Compare("FETCH") != 0) continue;
      const std::string word(alias.view());
      const std::string table(ref->tableName.view());
      const std::string_view count = rest.substr(0, rest.find_first_not_of("0123456789"));
      out->push_back({StatementWarningKind::kUnreadText,
                      word + " became a name for " + table + " (" + table + " AS " + word + ")" +
                          (rest.empty() ? std::string() : " and " + Excerpt(rest) + " was not read") +
                          ": the dialect has no " + word,
                      "restrict the rows with WHERE instead, for example WHERE _rowid <= " +
                          (count.empty() ? std::string("10") : std::string(count))});
      return;
    }
  }
  if (rest.empty()) return;
  if (node.IsEndTransaction()) {
    // COMMIT TRANSACTION and COMMIT WORK mean what they say.
    if (CompareNoCase(rest, "TRANSACTION") == 0 || CompareNoCase(rest, "WORK") == 0) return;
    const char* word = static_cast<const SQLEndTransactionNode&>(node).commit ? "COMMIT" : "ROLLBACK";
    out->push_back({StatementWarningKind::kUnreadText,
                    std::string(word) + " reads nothing behind its word: " + Excerpt(rest) + " was not read",
                    std::string("write ") + word + " alone (the dialect has no savepoints)"});
    return;
  }
  std::string hint = "write the rest with the dialect's operators (= <> < <= > >= + - * / AND OR LIKE)";
  if (rest.starts_with("!=")) {
    hint = "write <> for \"not equal\" (the dialect has no !=)";
  } else if (rest.starts_with("||")) {
    hint = "join texts with + (the dialect has no ||)";
  } else if (rest.starts_with("&&")) {
    hint = "write AND (the dialect has no &&)";
  } else if (rest.starts_with(";")) {
    hint = "run one statement at a time";
  }
  out->push_back({StatementWarningKind::kUnreadText,
                  Excerpt(rest) + " was not read: the statement ends where the parser stopped understanding it", hint});
}

}  // namespace

StatementWarnings FindStatementWarnings(const string& sql, const ParvexDatabase& db) {
  StatementWarnings result;
  ParvexSQLParser parser;
  if (!db.escapeOption.empty()) parser.SetEscape(static_cast<char>(db.escapeOption[0]));
  std::unique_ptr<SQLSyntaxNode> node = parser.Evaluate(sql);
  if (!node || parser.LastError() != ParvexSQLParser::kNoError) return result;
  result.ran = Text(node.get());
  ReportUnreadText(*node, sql.view(), parser.StopOffset(), &result.list);
  Analyzer(db, parser, &result.list).Statement(*node);
  return result;
}

}  // namespace parvex
