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
    GetToken();
    if (!IsWord("BY")) {
      serror(kErrKeywordExpected);
      node.reset();
      return;
    }
    do {
      GetToken();
      if (!IsWord()) {
        serror(kErrColumnNameExpected);
        node.reset();
        return;
      }
      node->groupBy.push_back(New(new SQLFieldRefNode(mToken)));
      GetToken();
    } while (IsDelimiter(','));
    if (!IsWord()) return;
  }
  if (IsWord("HAVING")) {
    GetToken();
    EvalScalarExp(node->having);
    if (!IsWord()) return;
  }
  if (IsWord("ORDER")) {
    GetToken();
    if (!IsWord("BY")) {
      serror(kErrKeywordExpected);
      node.reset();
      return;
    }
    do {
      GetToken();
      if (!IsWord()) {
        serror(kErrColumnNameExpected);
        node.reset();
        return;
      }
      node->orderBy.push_back(mToken);
      GetToken();
      uint8_t descending = 0;
      if (IsWord("DESC")) {
        descending = 1;
        GetToken();
      } else if (IsWord("ASC")) {
        GetToken();
      }
      node->orderDescending.push_back(descending);
    } while (IsDelimiter(','));
    if (!IsWord()) return;
  }
  // A word that starts no clause (or a clause out of order) is not ignored.
  if (mLastError == kNoError) serror(kErrSyntax);
}

void ParvexSQLParser::EvalSelectItem(std::unique_ptr<SQLSelectItemNode>& node) {
  EvalScalarExp(node->expr);
  if (IsWord("AS")) {
    GetToken();
    if (!IsWord()) {
      serror(kErrRangeVarExpected);
      return;
    }
  } else if (!IsWord() || IsWord("FROM")) {
    return;
  }
  node->alias = mToken;
  GetToken();
}

void ParvexSQLParser::EvalTableRef(std::unique_ptr<SQLTableRefNode>& node) {
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
  if (IsWord("AS")) {
    GetToken();
    if (!IsWord()) {
      serror(kErrRangeVarExpected);
      return;
    }
  } else if (!IsWord() || IsClauseWord(mToken)) {
    return;
  }
  node->rangeVariable = mToken;
  GetToken();
}

void ParvexSQLParser::EvalInsert(std::unique_ptr<SQLInsertNode>& node) {
  // Any error discards the whole statement.
  auto fail = [&](ErrorType code) {
    serror(code);
    node.reset();
  };
  GetToken();
  if (!IsWord("INTO")) return fail(kErrIntoExpected);
  GetToken();
  if (!IsWord()) return fail(kErrTableNameExpected);
  node->tableName = mToken;
  GetToken();
  if (IsDelimiter('(')) {
    for (;;) {
      GetToken();
      if (!IsWord()) return fail(kErrColumnNameExpected);
      node->columnNames.push_back(mToken);
      GetToken();
      if (IsDelimiter(')')) break;
      if (!IsDelimiter(',')) return fail(kErrCommaOrParenExpected);
    }
    GetToken();
  }
  if (IsWord("DEFAULT")) {
    GetToken();
    if (!IsWord("VALUES")) return fail(kErrValuesExpected);
    node->defaultValues = true;
    GetToken();
    ExpectEnd();
  } else if (IsWord("VALUES")) {
    GetToken();
    if (!IsDelimiter('(')) return fail(kErrParenExpected);
    for (;;) {
      GetToken();
      SQLScalarExpPtr value;
      EvalScalarExp(value);  // DEFAULT reads as a field reference named DEFAULT
      node->values.push_back(std::move(value));
      if (IsDelimiter(')')) break;
      if (!IsDelimiter(',')) return fail(kErrCommaOrParenExpected);
    }
    GetToken();
    ExpectEnd();
  } else if (IsWord("SELECT")) {
    node->select = New(new SQLSelectNode);
    EvalSelect(node->select);
  } else {
    return fail(kErrValuesExpected);
  }
  if (mLastError != kNoError) node.reset();
}

void ParvexSQLParser::EvalUpdate(std::unique_ptr<SQLUpdateNode>& node) {
  GetToken();
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
  if (!IsWord("SET")) {
    serror(kErrSetExpected);
    return;
  }
  do {
    GetToken();
    if (!IsWord()) {
      serror(kErrColumnNameExpected);
      return;
    }
    node->columnNames.push_back(mToken);
    GetToken();
    if (!IsDelimiter('=')) {
      serror(kErrSyntax);
      return;
    }
    GetToken();
    SQLScalarExpPtr value;
    EvalScalarExp(value);
    node->values.push_back(std::move(value));
  } while (IsDelimiter(','));
  if (IsWord("WHERE")) {
    GetToken();
    EvalScalarExp(node->where);
  }
  ExpectEnd();
}

void ParvexSQLParser::EvalDelete(std::unique_ptr<SQLDeleteNode>& node) {
  GetToken();
  if (IsWord("FROM")) GetToken();
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
  if (IsWord("WHERE")) {
    GetToken();
    EvalScalarExp(node->where);
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
  mToken = string();
  mTokenClass = kTokenEnd;
}

void ParvexSQLParser::EvalCreateTable(std::unique_ptr<SQLCreateTableNode>& node) {
  GetToken();
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
  if (!IsDelimiter('(')) {
    serror(kErrParenExpected);
    return;
  }
  for (;;) {
    GetToken();
    auto column = New(new SQLColumnDefNode);
    EvalColumnDef(column);
    node->columns.push_back(std::move(column));
    if (IsDelimiter(')')) break;
    if (!IsDelimiter(',')) {
      serror(kErrCommaOrParenExpected);
      return;
    }
  }
  GetToken();
  ExpectEnd();
}

void ParvexSQLParser::EvalColumnDef(std::unique_ptr<SQLColumnDefNode>& node) {
  if (!IsWord()) {
    serror(kErrColumnNameExpected);
    return;
  }
  node->name = mToken;
  GetToken();
  if (!IsWord()) {
    serror(kErrSyntax);  // a type name must follow
    return;
  }
  node->typeName = mToken;
  GetToken();
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
  if (!IsWord()) {
    serror(kErrIndexNameExpected);
    return;
  }
  node->indexName = mToken;
  GetToken();
  node->onWord = mToken;  // ON in well-formed text; read without a check
  GetToken();
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
  if (!IsDelimiter('(')) {
    serror(kErrParenExpected);
    return;
  }
  for (;;) {
    GetToken();
    if (!IsWord()) {
      serror(kErrColumnNameExpected);
      return;
    }
    node->columnNames.push_back(mToken);
    GetToken();
    if (IsDelimiter(')')) break;
    if (!IsDelimiter(',')) {
      serror(kErrCommaOrParenExpected);
      return;
    }
  }
  GetToken();
  ExpectEnd();
}

void ParvexSQLParser::EvalAlterTable(std::unique_ptr<SQLAlterTableNode>& node) {
  GetToken();
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
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
  if (!drop && !IsWord("ALTER")) {
    serror(kErrKeywordExpected);
    return;
  }
  GetToken();
  if (IsWord("COLUMN")) GetToken();
  if (!IsWord()) {
    serror(kErrColumnNameExpected);
    return;
  }
  node->column->name = mToken;
  GetToken();
  if (drop) {
    node->action = kAlterDropColumn;
    if (IsWord("RESTRICT")) node->dropBehavior = kDropBehaviorRestrict;
    if (IsWord("CASCADE")) node->dropBehavior = kDropBehaviorCascade;
    if (node->dropBehavior != kDropBehaviorNone) GetToken();
  } else if (IsWord("SET")) {
    node->action = kAlterSetDefault;
    GetToken();
    if (!IsWord("DEFAULT")) {
      serror(kErrKeywordExpected);
      return;
    }
    GetToken();
    EvalDefaultLiteral(node->column->defaultValue);
  } else if (IsWord("DROP")) {
    node->action = kAlterDropDefault;
    GetToken();
    if (!IsWord("DEFAULT")) {
      serror(kErrKeywordExpected);
      return;
    }
    GetToken();
  } else {
    serror(kErrKeywordExpected);
    return;
  }
  ExpectEnd();
}

void ParvexSQLParser::EvalDropTable(std::unique_ptr<SQLDropTableNode>& node) {
  GetToken();
  if (!IsWord()) {
    serror(kErrTableNameExpected);
    return;
  }
  node->tableName = mToken;
  GetToken();
  if (IsWord("RESTRICT")) node->dropBehavior = kDropBehaviorRestrict;
  if (IsWord("CASCADE")) node->dropBehavior = kDropBehaviorCascade;
  if (node->dropBehavior != kDropBehaviorNone) GetToken();
  ExpectEnd();
}

void ParvexSQLParser::EvalDropIndex(std::unique_ptr<SQLDropIndexNode>& node) {
  GetToken();
  if (!IsWord()) {
    serror(kErrIndexNameExpected);
    return;
  }
  node->specifier = mToken;
  GetToken();
  ExpectEnd();
}

}  // namespace parvex
