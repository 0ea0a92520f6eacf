// Statement syntax nodes: canonical SQL printing.
#include "sql/syntax_statements.h"

namespace parvex {

namespace {

void AppendNames(const SimpleVector<string>& names, std::string& out) {
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) out += ", ";
    out += names[i].view();
  }
}

template <typename NodePtr>
void AppendNodes(const SimpleVector<NodePtr>& nodes, std::string& out) {
  for (size_t i = 0; i < nodes.size(); ++i) {
    if (i > 0) out += ", ";
    AppendSQLOf(nodes[i].get(), out);
  }
}

// " KEYWORD expression" when the expression is present.
void AppendClause(const char* keyword, const SQLScalarExpPtr& expr, std::string& out) {
  if (!expr) return;
  out += keyword;
  expr->AppendSQL(out);
}

void AppendDropBehavior(long behavior, std::string& out) {
  if (behavior == kDropBehaviorRestrict) out += " RESTRICT";
  if (behavior == kDropBehaviorCascade) out += " CASCADE";
}

}  // namespace

void SQLSelectItemNode::AppendSQL(std::string& out) const {
  AppendSQLOf(expr.get(), out);
  if (!alias.empty()) {
    out += " AS ";
    out += alias.view();
  }
}

void SQLTableRefNode::AppendSQL(std::string& out) const {
  out += tableName.view();
  if (!rangeVariable.empty()) {
    out += " AS ";
    out += rangeVariable.view();
  }
}

void SQLColumnDefNode::AppendSQL(std::string& out) const {
  out += name.view();
  if (!typeName.empty()) {
    out += ' ';
    out += typeName.view();
  }
  if (defaultValue) {
    out += " DEFAULT ";
    defaultValue->AppendSQL(out);
  }
}

void SQLSelectNode::AppendSQL(std::string& out) const {
  out += distinct ? "SELECT DISTINCT " : "SELECT ";
  AppendNodes(items, out);
  if (!tables.empty()) {
    out += " FROM ";
    AppendNodes(tables, out);
  }
  AppendClause(" WHERE ", where, out);
  if (!groupBy.empty()) {
    out += " GROUP BY ";
    AppendNodes(groupBy, out);
  }
  AppendClause(" HAVING ", having, out);
  if (!orderBy.empty()) {
    out += " ORDER BY ";
    for (size_t i = 0; i < orderBy.size(); ++i) {
      if (i > 0) out += ", ";
      out += orderBy[i].view();
      if (i < orderDescending.size() && orderDescending[i]) out += " DESC";
    }
  }
}

void SQLInsertNode::AppendSQL(std::string& out) const {
  out += "INSERT INTO ";
  out += tableName.view();
  if (!columnNames.empty()) {
    out += " (";
    AppendNames(columnNames, out);
    out += ')';
  }
  if (defaultValues) {
    out += " DEFAULT VALUES";
  } else if (select) {
    out += ' ';
    select->AppendSQL(out);
  } else {
    out += " VALUES (";
    AppendNodes(values, out);
    out += ')';
  }
}

void SQLUpdateNode::AppendSQL(std::string& out) const {
  out += "UPDATE ";
  out += tableName.view();
  out += " SET ";
  for (size_t i = 0; i < columnNames.size(); ++i) {
    if (i > 0) out += ", ";
    out += columnNames[i].view();
    out += '=';
    if (i < values.size()) AppendSQLOf(values[i].get(), out);
  }
  AppendClause(" WHERE ", where, out);
}

void SQLDeleteNode::AppendSQL(std::string& out) const {
  out += "DELETE FROM ";
  out += tableName.view();
  AppendClause(" WHERE ", where, out);
}

void SQLCreateTableNode::AppendSQL(std::string& out) const {
  out += "CREATE TABLE ";
  out += tableName.view();
  out += " (";
  AppendNodes(columns, out);
  out += ')';
}

void SQLAlterTableNode::AppendSQL(std::string& out) const {
  out += "ALTER TABLE ";
  out += tableName.view();
  switch (action) {
    case kAlterAddColumn:
      out += " ADD ";
      AppendSQLOf(column.get(), out);
      break;
    case kAlterDropColumn:
      out += " DROP ";
      if (column) out += column->name.view();
      AppendDropBehavior(dropBehavior, out);
      break;
    case kAlterSetDefault:
      out += " ALTER ";
      if (column) {
        out += column->name.view();
        out += " SET DEFAULT ";
        AppendSQLOf(column->defaultValue.get(), out);
      }
      break;
    case kAlterDropDefault:
      out += " ALTER ";
      if (column) out += column->name.view();
      out += " DROP DEFAULT";
      break;
    default:
      break;
  }
}

void SQLDropTableNode::AppendSQL(std::string& out) const {
  out += "DROP TABLE ";
  out += tableName.view();
  AppendDropBehavior(dropBehavior, out);
}

void SQLCreateIndexNode::AppendSQL(std::string& out) const {
  out += "CREATE INDEX ";
  out += indexName.view();
  out += ' ';
  out += onWord.view();
  out += ' ';
  out += tableName.view();
  out += " (";
  AppendNames(columnNames, out);
  out += ')';
}

void SQLDropIndexNode::AppendSQL(std::string& out) const {
  out += "DROP INDEX ";
  out += specifier.view();
}

void SQLSetOptionNode::AppendSQL(std::string& out) const {
  out += "SET ";
  // The option is a keyword (ESCAPE is the only one): upper case.
  for (char c : option.view()) out += (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
  if (!value.empty()) {
    out += ' ';
    out += value.view();
  }
}

void SQLEndTransactionNode::AppendSQL(std::string& out) const {
  out += commit ? "COMMIT" : "ROLLBACK";
}

}  // namespace parvex
