// Script commands of the host's Database framework: SQL, schema cursors,
// column types, transactions, closing.
#include "interpreter.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

KORAObject Handle(HostObject* object) { return reinterpret_cast<KORAObject>(object); }

}  // namespace

// Binds a cursor the engine handed out (or reports that there is none).
bool Interpreter::BindNewCursor(const std::string& name, KORADBCursor handle) {
  HostCursor* cursor = handle ? World().CursorOf(handle) : nullptr;
  if (handle && !cursor) {
    World().Violation("the engine returned a cursor the host did not make");
  }
  if (!cursor) {
    Unbind(name);
    Print(name + " = nil");
    return true;
  }
  BindCursor(name, cursor);
  int32_t rows = 0, columns = 0;
  CallPlugin(nullptr, "cursor counts", [&] {
    rows = cursor->definition->rowCount ? cursor->definition->rowCount(cursor->data) : 0;
    columns = cursor->definition->columnCount ? cursor->definition->columnCount(cursor->data) : 0;
  });
  Print(name + " = cursor, " + std::to_string(rows) + " rows, " + std::to_string(columns) +
        " columns");
  return true;
}

// execute DB SQL...
bool Interpreter::CmdExecute(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  if (!DatabaseArg(lexer, &db)) return false;
  const std::string sql = lexer.Rest();
  if (!db->engine->directExecute) return Fail("the engine does not offer directExecute");
  CallPlugin(db, "execute", [&] { db->engine->directExecute(Handle(db), TextView(sql)); });
  return true;
}

// select DB CUR SQL...
bool Interpreter::CmdSelect(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  std::string name;
  if (!DatabaseArg(lexer, &db) || !WordArg(lexer, "cursor name", &name)) return false;
  const std::string sql = lexer.Rest();
  if (!db->engine->directSelect) return Fail("the engine does not offer directSelect");
  KORADBCursor handle = nullptr;
  CallPlugin(db, "select", [&] { handle = db->engine->directSelect(Handle(db), TextView(sql)); });
  return BindNewCursor(name, handle);
}

bool Interpreter::CmdTableSchema(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  std::string name;
  if (!DatabaseArg(lexer, &db) || !WordArg(lexer, "cursor name", &name) || !ExpectEnd(lexer)) {
    return false;
  }
  if (!db->engine->tableSchema) return Fail("the engine does not offer tableSchema");
  KORADBCursor handle = nullptr;
  CallPlugin(db, "tableSchema", [&] { handle = db->engine->tableSchema(Handle(db)); });
  return BindNewCursor(name, handle);
}

// fieldschema / indexschema DB CUR "TABLE": a schema cursor of one table.
bool Interpreter::TableSchemaCursor(ScriptLexer& lexer, const char* what,
                                    KORADBCursor (*KORADatabaseEngine::*entry)(KORAObject,
                                                                               KORAText)) {
  HostObject* db = nullptr;
  std::string name, table;
  if (!DatabaseArg(lexer, &db) || !WordArg(lexer, "cursor name", &name) ||
      !TextArg(lexer, "table name", &table) || !ExpectEnd(lexer)) {
    return false;
  }
  if (!(db->engine->*entry)) return Fail(std::string("the engine does not offer ") + what);
  KORADBCursor handle = nullptr;
  CallPlugin(db, what, [&] { handle = (db->engine->*entry)(Handle(db), TextView(table)); });
  return BindNewCursor(name, handle);
}

bool Interpreter::CmdFieldSchema(ScriptLexer& lexer) {
  return TableSchemaCursor(lexer, "fieldSchema", &KORADatabaseEngine::fieldSchema);
}

bool Interpreter::CmdIndexSchema(ScriptLexer& lexer) {
  return TableSchemaCursor(lexer, "indexSchema", &KORADatabaseEngine::indexSchema);
}

// columntypes DB: the engine's type table, one "code Name" pair per type.
bool Interpreter::CmdColumnTypes(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  if (!DatabaseArg(lexer, &db) || !ExpectEnd(lexer)) return false;
  if (!db->engine->columnTypes) return Fail("the engine does not offer columnTypes");
  const int32_t* codes = nullptr;
  int32_t count = -1;
  std::string names;
  std::vector<int32_t> codeList;
  CallPlugin(db, "columnTypes", [&] {
    KORAText namesText{};
    db->engine->columnTypes(Handle(db), &codes, &namesText, &count);
    names = FromText(namesText);
    if (codes && count > 0) codeList.assign(codes, codes + count);
  });
  std::vector<std::string> nameList;
  size_t start = 0;
  while (start <= names.size()) {
    const size_t comma = std::min(names.find(',', start), names.size());
    nameList.push_back(names.substr(start, comma - start));
    start = comma + 1;
  }
  if (count < 0 || static_cast<size_t>(count) != codeList.size() ||
      nameList.size() != codeList.size()) {
    World().Violation("columnTypes: " + std::to_string(count) + " types, " +
                      std::to_string(codeList.size()) + " codes, " +
                      std::to_string(nameList.size()) + " names");
    return true;
  }
  std::string line = db->label + ".columntypes (" + std::to_string(count) + "):";
  for (size_t i = 0; i < codeList.size(); ++i) {
    line += ' ';
    line += std::to_string(codeList[i]);
    line += ' ';
    line += nameList[i];
    if (i + 1 < codeList.size()) line += ",";
  }
  Print(line);
  return true;
}

// commit, rollback: an engine entry that takes only the database.
bool Interpreter::DatabaseCall(ScriptLexer& lexer, const char* what,
                               void (*KORADatabaseEngine::*entry)(KORAObject)) {
  HostObject* db = nullptr;
  if (!DatabaseArg(lexer, &db) || !ExpectEnd(lexer)) return false;
  if (!(db->engine->*entry)) return Fail(std::string("the engine does not offer ") + what);
  CallPlugin(db, what, [&] { (db->engine->*entry)(Handle(db)); });
  return true;
}

bool Interpreter::CmdCommit(ScriptLexer& lexer) {
  return DatabaseCall(lexer, "commit", &KORADatabaseEngine::commit);
}

bool Interpreter::CmdRollback(ScriptLexer& lexer) {
  return DatabaseCall(lexer, "rollback", &KORADatabaseEngine::rollback);
}

// close DB | close CUR: the framework's Close (the host then marks the
// database not connected), or a cursor's close.
bool Interpreter::CmdClose(ScriptLexer& lexer) {
  std::string name;
  if (!WordArg(lexer, "database or cursor", &name) || !ExpectEnd(lexer)) return false;
  const auto found = mVars.find(name);
  if (found == mVars.end()) return Fail("unknown variable " + name);
  if (HostCursor* cursor = found->second.cursor) {
    if (cursor->closed) return Fail(name + " is closed already");
    World().CloseCursor(cursor);
    return true;
  }
  HostObject* db = found->second.object;
  if (!db || !db->engine) return Fail(name + " is neither a database nor a cursor");
  if (!db->engine->close) return Fail("the engine does not offer close");
  CallPlugin(db, "close", [&] { db->engine->close(Handle(db)); });
  db->connected = false;
  return true;
}

// insertrecord DB TABLE: the framework's InsertRecord, which needs the
// engine's addTableRecord entry (this command inserts an empty record).
bool Interpreter::CmdInsertRecord(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  std::string table;
  if (!DatabaseArg(lexer, &db) || !TextArg(lexer, "table name", &table) || !ExpectEnd(lexer)) {
    return false;
  }
  if (!db->engine->addTableRecord) {
    Print(db->label + ".insertrecord: not supported by this engine");
    return true;
  }
  KORABoolean added = 0;
  CallPlugin(db, "addTableRecord", [&] {
    added = db->engine->addTableRecord(Handle(db), TextView(table), nullptr, nullptr, 0);
  });
  Print(db->label + ".insertrecord = " + (added ? "true" : "false"));
  return true;
}

bool Interpreter::CmdConnected(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  if (!DatabaseArg(lexer, &db) || !ExpectEnd(lexer)) return false;
  Print(db->label + ".connected = " + (db->connected ? "true" : "false"));
  return true;
}

// error DB: the error the host holds for the database since its last call.
bool Interpreter::CmdError(ScriptLexer& lexer) {
  HostObject* db = nullptr;
  if (!DatabaseArg(lexer, &db) || !ExpectEnd(lexer)) return false;
  if (!db->hasError) {
    Print(db->label + ".error = none");
  } else {
    Print(db->label + ".error = " + db->errorCode + ": " + db->errorMessage);
  }
  return true;
}

}  // namespace kora_host
