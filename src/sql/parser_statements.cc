// ParvexSQLParser: the statement rules (SELECT, INSERT, UPDATE, DELETE, SET,
// CREATE/ALTER/DROP TABLE, CREATE/DROP INDEX).
//
// Each rule is entered with the statement's first significant token current
// (for SELECT and INSERT the keyword itself, for the others the keyword's
// last word) and leaves behind the first token it did not use. Rules that
// end the statement check that nothing but the end follows, except SELECT,
// which stops quietly at trailing punctuation.
#include <cstring>

#include "sql/parser.h"

namespace parvex {

namespace {

// Words that end a FROM entry instead of naming its range variable.
bool IsClauseWord(const string& word) {
  return word.Compare("WHERE") == 0 || word.Compare("GROUP") == 0 || word.Compare("HAVING") == 0 ||
         word.Compare("ORDER") == 0;
}

}  // namespace

template <typename ReadItem>
bool ParvexSQLParser::EvalByList(ReadItem readItem) {
  GetToken();
  if (!IsWord("BY")) {
    serror(kErrKeywordExpected);
    return false;
  }
  do {
    GetToken();
    if (!IsWord()) {
      serror(kErrColumnNameExpected);
      return false;
    }
    readItem();
  } while (IsDelimiter(','));
  return true;
}

bool ParvexSQLParser::EvalNameList(SimpleVector<string>& names) {
  for (;;) {
    GetToken();
    string name;
    if (!ReadName(name, kErrColumnNameExpected)) return false;
    names.push_back(name);
    if (IsDelimiter(')')) return true;
    if (!IsDelimiter(',')) {
      serror(kErrCommaOrParenExpected);
      return false;
    }
  }
}

void ParvexSQLParser::EvalSelect(std::unique_ptr<SQLSelectNode>& node) {
  GetToken();  // behind SELECT
  if (IsWord("DISTINCT") || IsWord("UNIQUE")) {
    node->distinct = true;
    GetToken();
  } else if (IsWord("ALL")) {
    GetToken();
  }
  for (;;) {
    auto item = New(new SQLSelectItemNode);
    EvalSelectItem(item);
    node->items.push_back(std::move(item));
    if (!IsDelimiter(',')) break;
    GetToken();
  }
  if (AtEnd()) return;
  if (!IsWord("FROM")) {
    serror(kErrFromExpected);
    return;
  }
  do {
    GetToken();
    auto table = New(new SQLTableRefNode);
    EvalTableRef(table);
    node->tables.push_back(std::move(table));
  } while (IsDelimiter(','));

  // From here on the statement ends quietly at the first token that is not a word.
  if (!IsWord()) return;
  if (IsWord("WHERE")) {
    GetToken();
    EvalScalarExp(node->where);
    if (!IsWord()) return;
  }
  if (IsWord("GROUP")) {
    const bool listed = EvalByList([&] {
      node->groupBy.push_back(New(new SQLFieldRefNode(mToken)));
      GetToken();
    });
    if (!listed) {
      node.reset();
      return;
    }
    if (!IsWord()) return;
  }
  if (IsWord("HAVING")) {
    GetToken();
    EvalScalarExp(node->having);
    if (!IsWord()) return;
  }
  if (IsWord("ORDER")) {
    const bool listed = EvalByList([&] {
      node->orderBy.push_back(mToken);
      GetToken();
      const bool descending = IsWord("DESC");
      if (descending || IsWord("ASC")) GetToken();
      node->orderDescending.push_back(descending ? 1 : 0);
    });
    if (!listed) {
      node.reset();
      return;
    }
    if (!IsWord()) return;
  }
  // A word that starts no clause (or a clause out of order) is not ignored.
  if (mLastError == kNoError) serror(kErrSyntax);
}

void ParvexSQLParser::EvalSelectItem(std::unique_ptr<SQLSelectItemNode>& node) {
  EvalScalarExp(node->expr);
  if (IsWord("AS")) {
    GetToken();
  } else if (!IsWord() || IsWord("FROM")) {
    return;
  }
  ReadName(node->alias, kErrRangeVarExpected);
}

void ParvexSQLParser::EvalTableRef(std::unique_ptr<SQLTableRefNode>& node) {
  if (!ReadName(node->tableName, kErrTableNameExpected)) return;
  if (IsWord("AS")) {
    GetToken();
  } else if (!IsWord() || IsClauseWord(mToken)) {
    return;
  }
  ReadName(node->rangeVariable, kErrRangeVarExpected);
}

void ParvexSQLParser::EvalInsert(std::unique_ptr<SQLInsertNode>& node) {
  GetToken();
  if (!ReadKeyword("INTO", kErrIntoExpected) || !ReadName(node->tableName, kErrTableNameExpected)) {
    node.reset();
    return;
  }
  if (IsDelimiter('(')) {
    if (!EvalNameList(node->columnNames)) {
      node.reset();
      return;
    }
    GetToken();
  }
  if (IsWord("DEFAULT")) {
    GetToken();
    node->defaultValues = ReadKeyword("VALUES", kErrValuesExpected);
    ExpectEnd();
  } else if (IsWord("VALUES")) {
    GetToken();
    if (!IsDelimiter('(')) {
      serror(kErrParenExpected);
    } else {
      do {
        GetToken();
        SQLScalarExpPtr value;
        EvalScalarExp(value);  // DEFAULT reads as a field reference named DEFAULT
        node->values.push_back(std::move(value));
      } while (IsDelimiter(','));
      if (IsDelimiter(')')) {
        GetToken();
        ExpectEnd();
      } else {
        serror(kErrCommaOrParenExpected);
      }
    }
  } else if (IsWord("SELECT")) {
    node->select = New(new SQLSelectNode);
    EvalSelect(node->select);
  } else {
    serror(kErrValuesExpected);
  }
  // Any error discards the whole statement.
  if (mLastError != kNoError) node.reset();
}

void ParvexSQLParser::EvalUpdate(std::unique_ptr<SQLUpdateNode>& node) {
  GetToken();
  if (!ReadName(node->tableName, kErrTableNameExpected) || !IsWord("SET")) {
    if (mLastError == kNoError) serror(kErrSetExpected);
    return;
  }
  do {
    GetToken();
    string column;
    if (!ReadName(column, kErrColumnNameExpected)) return;
    node->columnNames.push_back(column);
    if (!IsDelimiter('=')) {
      serror(kErrSyntax);
      return;
    }
    GetToken();
    SQLScalarExpPtr value;
    EvalScalarExp(value);
    node->values.push_back(std::move(value));
  } while (IsDelimiter(','));
  EvalWhere(node->where);
}

void ParvexSQLParser::EvalDelete(std::unique_ptr<SQLDeleteNode>& node) {
  GetToken();
  if (IsWord("FROM")) GetToken();
  if (!ReadName(node->tableName, kErrTableNameExpected)) return;
  EvalWhere(node->where);
}

void ParvexSQLParser::EvalWhere(SQLScalarExpPtr& where) {
  if (IsWord("WHERE")) {
    GetToken();
    EvalScalarExp(where);
  }
  ExpectEnd();
}

void ParvexSQLParser::EvalSet(std::unique_ptr<SQLSetOptionNode>& node) {
  GetToken();
  if (!IsWord("ESCAPE")) {
    serror(kErrKeywordExpected);
    node.reset();
    return;
  }
  node->option = mToken;
  // The value is the raw rest of the text behind the blanks after the word.
  const char* start = mPos;
  while (start < mEnd && static_cast<unsigned char>(*start) >= 1 && static_cast<unsigned char>(*start) <= 32) {
    ++start;
  }
  node->value = string(start, static_cast<size_t>(mEnd - start), mEncoding);
  mPos = mEnd;
  mTokenStart = mEnd;
  mToken = string();
  mTokenClass = kTokenEnd;
}

void ParvexSQLParser::EvalCreateTable(std::unique_ptr<SQLCreateTableNode>& node) {
  GetToken();
  if (!ReadName(node->tableName, kErrTableNameExpected)) return;
  if (!IsDelimiter('(')) {
    serror(kErrParenExpected);
    return;
  }
  do {
    GetToken();
    auto column = New(new SQLColumnDefNode);
    EvalColumnDef(column);
    node->columns.push_back(std::move(column));
  } while (IsDelimiter(','));
  if (!IsDelimiter(')')) {
    serror(kErrCommaOrParenExpected);
    return;
  }
  GetToken();
  ExpectEnd();
}

void ParvexSQLParser::EvalColumnDef(std::unique_ptr<SQLColumnDefNode>& node) {
  // A missing type name is a plain syntax error.
  if (!ReadName(node->name, kErrColumnNameExpected) || !ReadName(node->typeName, kErrSyntax)) return;
  if (IsWord("DEFAULT")) {
    GetToken();
    EvalDefaultLiteral(node->defaultValue);
  }
}

void ParvexSQLParser::EvalDefaultLiteral(SQLScalarExpPtr& node) {
  // A literal, a signed number, or NULL; nothing that needs a row to evaluate.
  EvalUnarySign(node);
  const SQLScalarExpNode* value = node.get();
  if (auto* negation = dynamic_cast<const SQLNegationNode*>(value)) value = negation->operand.get();
  const bool literal = dynamic_cast<const SQLLiteralNode*>(value) != nullptr;
  const auto* field = dynamic_cast<const SQLFieldRefNode*>(value);
  const bool null = field && value == node.get() && field->name.Compare("NULL") == 0;
  if (!literal && !null) serror(kErrSyntax);
}

void ParvexSQLParser::EvalCreateIndex(std::unique_ptr<SQLCreateIndexNode>& node) {
  GetToken();
  if (!ReadName(node->indexName, kErrIndexNameExpected)) return;
  node->onWord = mToken;  // ON in well-formed text; read without a check
  GetToken();
  if (!ReadName(node->tableName, kErrTableNameExpected)) return;
  if (!IsDelimiter('(')) {
    serror(kErrParenExpected);
    return;
  }
  if (!EvalNameList(node->columnNames)) return;
  GetToken();
  ExpectEnd();
}

void ParvexSQLParser::EvalAlterTable(std::unique_ptr<SQLAlterTableNode>& node) {
  GetToken();
  if (!ReadName(node->tableName, kErrTableNameExpected)) return;
  node->column = New(new SQLColumnDefNode);
  if (IsWord("ADD")) {
    node->action = kAlterAddColumn;
    GetToken();
    if (IsWord("COLUMN")) GetToken();
    EvalColumnDef(node->column);
    ExpectEnd();
    return;
  }
  const bool drop = IsWord("DROP");
  if (!drop && !ReadKeyword("ALTER", kErrKeywordExpected)) return;
  if (drop) GetToken();
  if (IsWord("COLUMN")) GetToken();
  if (!ReadName(node->column->name, kErrColumnNameExpected)) return;
  if (drop) {
    node->action = kAlterDropColumn;
    node->dropBehavior = ReadDropBehavior();
  } else if (IsWord("SET")) {
    node->action = kAlterSetDefault;
    GetToken();
    if (!ReadKeyword("DEFAULT", kErrKeywordExpected)) return;
    EvalDefaultLiteral(node->column->defaultValue);
  } else {
    node->action = kAlterDropDefault;
    if (!ReadKeyword("DROP", kErrKeywordExpected) || !ReadKeyword("DEFAULT", kErrKeywordExpected)) return;
  }
  ExpectEnd();
}

void ParvexSQLParser::EvalDropTable(std::unique_ptr<SQLDropTableNode>& node) {
  GetToken();
  if (!ReadName(node->tableName, kErrTableNameExpected)) return;
  node->dropBehavior = ReadDropBehavior();
  ExpectEnd();
}

void ParvexSQLParser::EvalDropIndex(std::unique_ptr<SQLDropIndexNode>& node) {
  GetToken();
  if (!ReadName(node->specifier, kErrIndexNameExpected)) return;
  ExpectEnd();
}

bool ParvexSQLParser::ReadName(string& name, ErrorType error) {
  if (!IsWord()) {
    serror(error);
    return false;
  }
  name = mToken;
  GetToken();
  return true;
}

bool ParvexSQLParser::ReadKeyword(const char* keyword, ErrorType error) {
  if (!IsWord(keyword)) {
    serror(error);
    return false;
  }
  GetToken();
  return true;
}

long ParvexSQLParser::ReadDropBehavior() {
  const long behavior = IsWord("RESTRICT")  ? kDropBehaviorRestrict
                        : IsWord("CASCADE") ? kDropBehaviorCascade
                                            : kDropBehaviorNone;
  if (behavior != kDropBehaviorNone) GetToken();
  return behavior;
}

}  // namespace parvex
