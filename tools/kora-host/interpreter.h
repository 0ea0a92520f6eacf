// The kora-host script interpreter: runs host actions line by line and
// prints what the host sees (the language is described in README.md).
//
// Each non-blank, non-comment line is echoed as "> line", followed by its
// output. Errors that the plug-in reports through the host's database error
// mechanism during a call are printed right after it as
// "! <object> error <SQLSTATE>: <message>". A malformed line is a script
// error: RunLine returns false with the reason in error().
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host_world.h"
#include "script_lexer.h"

namespace kora_host {

// A value written in a script: nil, an integer, a double, a boolean, a text
// of a field type (String, Date, Time, Timestamp, Binary) or an object.
struct ScriptValue {
  enum Kind { kNil, kInteger, kDouble, kBoolean, kText, kObject } kind = kNil;
  int32_t integer = 0;
  double number = 0;
  std::string text;
  int32_t textType = KORA_FIELD_STRING;
  HostObject* object = nullptr;
};

class Interpreter {
 public:
  Interpreter() = default;
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  bool RunLine(const std::string& line);
  const std::string& error() const { return mError; }
  // Closes the cursors, drops every variable and checks that no object is
  // left referenced. Call once, after the last line.
  void Finish();

 private:
  struct Variable {
    HostObject* object = nullptr;  // a held reference
    HostCursor* cursor = nullptr;
    std::optional<ScriptValue> value;  // a plain value (texts, numbers)
  };
  using Handler = bool (Interpreter::*)(ScriptLexer&);
  static const std::map<std::string, Handler>& Commands();

  // ---- helpers (interpreter.cc)
  bool Fail(const std::string& message);
  bool ExpectEnd(ScriptLexer& lexer);
  bool WordArg(ScriptLexer& lexer, const char* what, std::string* out);
  bool TextArg(ScriptLexer& lexer, const char* what, std::string* out);
  bool ValueArg(ScriptLexer& lexer, ScriptValue* out);
  bool ObjectArg(ScriptLexer& lexer, HostObject** out);
  bool DatabaseArg(ScriptLexer& lexer, HostObject** out);
  bool CursorArg(ScriptLexer& lexer, HostCursor** out);
  // Reads an optional "-> VAR" at the end of the line.
  bool TargetArg(ScriptLexer& lexer, std::string* target);
  void BindObject(const std::string& name, HostObject* object);  // takes the reference
  void BindCursor(const std::string& name, HostCursor* cursor);
  void BindValue(const std::string& name, const ScriptValue& value);
  void Unbind(const std::string& name);
  // Runs `call` as one call into the plug-in concerning `database`, then
  // prints the dialogs it opened and the errors it reported.
  template <typename Call>
  void CallPlugin(HostObject* database, const std::string& what, Call call);
  static void Print(const std::string& line);
  static std::string ShowValue(const ScriptValue& value);
  static std::string ShowText(const std::string& text, size_t limit = std::string::npos);

  // ---- objects, methods, values (interpreter.cc)
  bool CmdNew(ScriptLexer& lexer);
  bool CmdFile(ScriptLexer& lexer);
  bool CmdWriteFile(ScriptLexer& lexer);
  bool CmdMkdir(ScriptLexer& lexer);
  bool CmdLet(ScriptLexer& lexer);
  bool CmdPrint(ScriptLexer& lexer);
  bool CmdSetProp(ScriptLexer& lexer);
  bool CmdGetProp(ScriptLexer& lexer);
  bool CmdCall(ScriptLexer& lexer);
  bool CmdRelease(ScriptLexer& lexer);
  bool CmdRegistry(ScriptLexer& lexer);
  bool CmdSentry(ScriptLexer& lexer);
  bool CmdEcho(ScriptLexer& lexer);

  // ---- design time (interpreter_design.cc)
  bool CmdDialog(ScriptLexer& lexer);
  bool CmdWithhold(ScriptLexer& lexer);
  bool CmdMenu(ScriptLexer& lexer);
  bool CmdOpenDataSource(ScriptLexer& lexer);

  // ---- databases (interpreter_db.cc)
  bool CmdExecute(ScriptLexer& lexer);
  bool CmdSelect(ScriptLexer& lexer);
  bool CmdTableSchema(ScriptLexer& lexer);
  bool TableSchemaCursor(ScriptLexer& lexer, const char* what,
                         KORADBCursor (*KORADatabaseEngine::*entry)(KORAObject, KORAText));
  bool CmdFieldSchema(ScriptLexer& lexer);
  bool CmdIndexSchema(ScriptLexer& lexer);
  bool CmdColumnTypes(ScriptLexer& lexer);
  bool DatabaseCall(ScriptLexer& lexer, const char* what,
                    void (*KORADatabaseEngine::*entry)(KORAObject));
  bool CmdCommit(ScriptLexer& lexer);
  bool CmdRollback(ScriptLexer& lexer);
  bool CmdClose(ScriptLexer& lexer);
  bool CmdInsertRecord(ScriptLexer& lexer);
  bool CmdConnected(ScriptLexer& lexer);
  bool CmdError(ScriptLexer& lexer);
  bool BindNewCursor(const std::string& name, KORADBCursor handle);

  // ---- cursors (interpreter_cursor.cc)
  bool MoveCursor(ScriptLexer& lexer, const char* what,
                  void (*KORADBCursorDefinition::*move)(void*));
  bool CmdFirst(ScriptLexer& lexer);
  bool CmdLast(ScriptLexer& lexer);
  bool CmdPrevious(ScriptLexer& lexer);
  bool CmdNext(ScriptLexer& lexer);
  bool CursorCount(ScriptLexer& lexer, const char* what,
                   int32_t (*KORADBCursorDefinition::*count)(void*));
  bool CmdRowCount(ScriptLexer& lexer);
  bool CmdColumnCount(ScriptLexer& lexer);
  bool CmdNames(ScriptLexer& lexer);
  bool CmdTypes(ScriptLexer& lexer);
  bool CmdValue(ScriptLexer& lexer);
  bool CmdRow(ScriptLexer& lexer);
  bool CmdDump(ScriptLexer& lexer);
  bool CmdEdit(ScriptLexer& lexer);
  bool CmdDeleteRow(ScriptLexer& lexer);
  std::string RowText(HostCursor* cursor, int32_t columns);
  std::string ColumnValueText(HostCursor* cursor, int32_t column);

  std::map<std::string, Variable> mVars;
  std::string mError;
};

template <typename Call>
void Interpreter::CallPlugin(HostObject* database, const std::string& what, Call call) {
  HostWorld& world = HostWorld::Get();
  world.BeginCall(database);
  world.insidePlugin = true;
  call();
  world.insidePlugin = false;
  world.CheckBalanced(what);
  for (const std::string& line : world.dialogLog) Print(line);
  world.dialogLog.clear();
  for (const ReportedError& e : world.EndCall()) {
    Print("! " + e.object + " error " + e.code + ": " + e.message);
  }
}

}  // namespace kora_host
