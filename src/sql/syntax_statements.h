// Statement syntax nodes and their helper nodes (select items, FROM entries,
// column definitions).
//
// One class per statement kind, each answering true to its own Is* test.
// The fields are public: the statement executor reads them directly. Names
// (tables, columns, indexes, aliases) keep the spelling and encoding of the
// statement text; a name that a parse error left unread is empty.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "sql/syntax_node.h"
#include "sql/syntax_scalar.h"

namespace parvex {

// RESTRICT / CASCADE after DROP TABLE and ALTER TABLE ... DROP.
constexpr long kDropBehaviorNone = 0;
constexpr long kDropBehaviorRestrict = 1;
constexpr long kDropBehaviorCascade = 2;

// ALTER TABLE actions. The executor carries out add and drop column only.
constexpr long kAlterAddColumn = 0;
constexpr long kAlterSetDefault = 1;   // ALTER [COLUMN] c SET DEFAULT literal
constexpr long kAlterDropDefault = 2;  // ALTER [COLUMN] c DROP DEFAULT
constexpr long kAlterDropColumn = 3;

// One item of a select list: an expression with an optional alias.
class SQLSelectItemNode : public SQLSyntaxNode {
 public:
  // The expression's ConvertToExprList; an alias then names the result
  // column, and stands in the column-name list unless the item is a plain column.
  bool ConvertToExprList(const SimpleVector<string>& tableNames, const SimpleVector<ParvexTable*>& tables,
                         SimpleVector<ParvexExprPtr>& exprs, ParvexStatus* status, SimpleVector<string>* columnNames,
                         SimpleVector<long>* columnIDs) const;
  void AppendSQL(std::string& out) const override;

  SQLScalarExpPtr expr;
  string alias;  // empty when none was given
};

// One FROM entry: a table name with an optional range variable.
class SQLTableRefNode : public SQLSyntaxNode {
 public:
  void AppendSQL(std::string& out) const override;
  // The name by which the statement refers to the table: its range
  // variable when it has one, else its table name.
  const string& ReferenceName() const { return rangeVariable.empty() ? tableName : rangeVariable; }

  string tableName;
  string rangeVariable;  // empty when none was given
};

// A column of CREATE TABLE or ALTER TABLE: name, type name as written and an
// optional DEFAULT literal (for DROP and ALTER COLUMN only the name is set).
class SQLColumnDefNode : public SQLSyntaxNode {
 public:
  void AppendSQL(std::string& out) const override;

  string name;
  string typeName;
  SQLScalarExpPtr defaultValue;  // a literal, a negated number or NULL; may be absent
};

class SQLSelectNode : public SQLSyntaxNode {
 public:
  bool IsSelect() const override { return true; }
  void AppendSQL(std::string& out) const override;

  bool distinct = false;
  SimpleVector<std::unique_ptr<SQLSelectItemNode>> items;
  SimpleVector<std::unique_ptr<SQLTableRefNode>> tables;  // FROM order
  SQLScalarExpPtr where;                                  // may be absent
  SimpleVector<std::unique_ptr<SQLFieldRefNode>> groupBy;
  SQLScalarExpPtr having;  // may be absent
  SimpleVector<string> orderBy;
  SimpleVector<uint8_t> orderDescending;  // one per orderBy entry, non-zero = DESC
};

class SQLInsertNode : public SQLSyntaxNode {
 public:
  bool IsInsert() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string tableName;
  SimpleVector<string> columnNames;       // empty when no column list was given
  SimpleVector<SQLScalarExpPtr> values;   // VALUES (...) entries
  bool defaultValues = false;             // DEFAULT VALUES
  std::unique_ptr<SQLSelectNode> select;  // INSERT ... SELECT
};

class SQLUpdateNode : public SQLSyntaxNode {
 public:
  bool IsUpdate() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string tableName;
  SimpleVector<string> columnNames;
  SimpleVector<SQLScalarExpPtr> values;  // one per column name
  SQLScalarExpPtr where;                 // may be absent
};

class SQLDeleteNode : public SQLSyntaxNode {
 public:
  bool IsDelete() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string tableName;
  SQLScalarExpPtr where;  // may be absent
};

class SQLCreateTableNode : public SQLSyntaxNode {
 public:
  bool IsCreateTable() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string tableName;
  SimpleVector<std::unique_ptr<SQLColumnDefNode>> columns;
};

class SQLAlterTableNode : public SQLSyntaxNode {
 public:
  bool IsAlterTable() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string tableName;
  long action = kAlterAddColumn;
  std::unique_ptr<SQLColumnDefNode> column;
  long dropBehavior = kDropBehaviorNone;
};

class SQLDropTableNode : public SQLSyntaxNode {
 public:
  bool IsDropTable() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string tableName;
  long dropBehavior = kDropBehaviorNone;
};

class SQLCreateIndexNode : public SQLSyntaxNode {
 public:
  bool IsCreateIndex() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string indexName;
  string onWord;  // the word between index and table name, kept as written
  string tableName;
  SimpleVector<string> columnNames;
};

class SQLDropIndexNode : public SQLSyntaxNode {
 public:
  bool IsDropIndex() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string specifier;  // TABLE.INDEX as written
};

class SQLSetOptionNode : public SQLSyntaxNode {
 public:
  bool IsSetOption() const override { return true; }
  void AppendSQL(std::string& out) const override;

  string option;  // the option word as written
  string value;   // the raw rest of the statement text
};

class SQLEndTransactionNode : public SQLSyntaxNode {
 public:
  explicit SQLEndTransactionNode(bool isCommit) : commit(isCommit) {}
  bool IsEndTransaction() const override { return true; }
  void AppendSQL(std::string& out) const override;

  bool commit;  // true for COMMIT, false for ROLLBACK
};

}  // namespace parvex
