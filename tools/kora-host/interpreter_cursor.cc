// Script commands that walk, read and edit cursors.
#include "interpreter.h"
#include "script_format.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

bool ParseColumn(const std::string& text, int32_t* column) {
  return ParseInteger(text, column) && *column >= 0;
}

}  // namespace

// The host's reading of one column value, by the type code the cursor gives.
std::string Interpreter::ColumnValueText(HostCursor* cursor, int32_t column) {
  KORAColumnValue value{};
  KORABoolean ok = 0;
  std::string text;
  CallPlugin(cursor->database, "columnValue", [&] {
    ok = cursor->definition->columnValue(cursor->data, column, &value);
    text = FromText(value.text);
  });
  if (!ok) return "?";
  if (value.isNull) return "nil";
  switch (value.type) {
    case KORA_FIELD_INTEGER: return std::to_string(value.integer);
    case KORA_FIELD_BOOLEAN: return value.integer ? "true" : "false";
    case KORA_FIELD_DOUBLE: return FormatNumber(value.number);
    case KORA_FIELD_STRING: return ShowText(text);
    case KORA_FIELD_DATE: return "date:" + ShowText(text);
    case KORA_FIELD_TIME: return "time:" + ShowText(text);
    case KORA_FIELD_TIMESTAMP: return "timestamp:" + ShowText(text);
    case KORA_FIELD_BINARY: return "binary:" + ShowText(text);
    default: return "type " + std::to_string(value.type) + "?";
  }
}

std::string Interpreter::RowText(HostCursor* cursor, int32_t columns) {
  std::string line;
  for (int32_t c = 0; c < columns; ++c) {
    if (c) line += " | ";
    line += ColumnValueText(cursor, c);
  }
  return line;
}

// first, last, previous: a move that returns nothing.
bool Interpreter::MoveCursor(ScriptLexer& lexer, const char* what,
                             void (*KORADBCursorDefinition::*move)(void*)) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  CallPlugin(cursor->database, what, [&] { (cursor->definition->*move)(cursor->data); });
  return true;
}

bool Interpreter::CmdFirst(ScriptLexer& lexer) {
  return MoveCursor(lexer, "first", &KORADBCursorDefinition::first);
}

bool Interpreter::CmdLast(ScriptLexer& lexer) {
  return MoveCursor(lexer, "last", &KORADBCursorDefinition::last);
}

bool Interpreter::CmdPrevious(ScriptLexer& lexer) {
  return MoveCursor(lexer, "previous", &KORADBCursorDefinition::previous);
}

bool Interpreter::CmdNext(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  KORABoolean onRow = 0;
  CallPlugin(cursor->database, "next", [&] { onRow = cursor->definition->next(cursor->data); });
  Print(std::string("next = ") + (onRow ? "true" : "false"));
  return true;
}

// rowcount, columncount: a count the cursor reports.
bool Interpreter::CursorCount(ScriptLexer& lexer, const char* what,
                              int32_t (*KORADBCursorDefinition::*count)(void*)) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  int32_t value = 0;
  CallPlugin(cursor->database, what, [&] { value = (cursor->definition->*count)(cursor->data); });
  Print(std::string(what) + " = " + std::to_string(value));
  return true;
}

bool Interpreter::CmdRowCount(ScriptLexer& lexer) {
  return CursorCount(lexer, "rowcount", &KORADBCursorDefinition::rowCount);
}

bool Interpreter::CmdColumnCount(ScriptLexer& lexer) {
  return CursorCount(lexer, "columncount", &KORADBCursorDefinition::columnCount);
}

// names CUR [COLUMN]: every column's name, or one (any number, to probe).
bool Interpreter::CmdNames(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor)) return false;
  int32_t only = -1;
  std::string word;
  if (!lexer.AtEnd()) {
    if (!WordArg(lexer, "column number", &word)) return false;
    if (!ParseInteger(word, &only)) return Fail("column number expected");
  }
  if (!ExpectEnd(lexer)) return false;
  std::string line;
  CallPlugin(cursor->database, "columnName", [&] {
    const int32_t count = word.empty() ? cursor->definition->columnCount(cursor->data) : 1;
    for (int32_t c = 0; c < count; ++c) {
      if (c) line += ", ";
      line += FromText(cursor->definition->columnName(cursor->data, word.empty() ? c : only));
    }
  });
  Print("names = " + line);
  return true;
}

bool Interpreter::CmdTypes(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  std::string line;
  CallPlugin(cursor->database, "columnType", [&] {
    const int32_t count = cursor->definition->columnCount(cursor->data);
    for (int32_t c = 0; c < count; ++c) {
      if (c) line += ", ";
      line += std::to_string(cursor->definition->columnType(cursor->data, c));
    }
  });
  Print("types = " + line);
  return true;
}

// value CUR COLUMN
bool Interpreter::CmdValue(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  std::string word;
  int32_t column = 0;
  if (!CursorArg(lexer, &cursor) || !WordArg(lexer, "column number", &word)) return false;
  if (!ParseInteger(word, &column)) return Fail("column number expected");
  if (!ExpectEnd(lexer)) return false;
  Print("value " + word + " = " + ColumnValueText(cursor, column));
  return true;
}

bool Interpreter::CmdRow(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  int32_t columns = 0;
  CallPlugin(cursor->database, "columnCount",
             [&] { columns = cursor->definition->columnCount(cursor->data); });
  Print("row = " + RowText(cursor, columns));
  return true;
}

// dump CUR: the column names, then every row from the first on, walked with
// next the way a host program loops over a record set.
bool Interpreter::CmdDump(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  int32_t rows = 0, columns = 0;
  std::string names;
  CallPlugin(cursor->database, "dump", [&] {
    rows = cursor->definition->rowCount(cursor->data);
    columns = cursor->definition->columnCount(cursor->data);
    for (int32_t c = 0; c < columns; ++c) {
      if (c) names += " | ";
      names += FromText(cursor->definition->columnName(cursor->data, c));
    }
    cursor->definition->first(cursor->data);
  });
  Print("  " + names);
  for (int32_t r = 0; r < rows; ++r) {
    Print("  " + RowText(cursor, columns));
    KORABoolean onRow = 0;
    CallPlugin(cursor->database, "next", [&] { onRow = cursor->definition->next(cursor->data); });
    if (!onRow != (r + 1 == rows)) {
      World().Violation("next after row " + std::to_string(r) + " of " + std::to_string(rows) +
                        " returned " + (onRow ? "true" : "false"));
      break;
    }
  }
  Print("  (" + std::to_string(rows) + " rows)");
  return true;
}

// edit CUR COLUMN = VALUE [COLUMN = VALUE ...]: the host's edit of the
// current row; COLUMN is a number or a column name.
bool Interpreter::CmdEdit(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor)) return false;
  std::vector<std::string> columnNames;
  std::vector<ScriptValue> values;
  while (!lexer.AtEnd()) {
    std::string column;
    ScriptValue value;
    if (!WordArg(lexer, "column", &column)) return false;
    if (lexer.Next().kind != Token::kEquals) return Fail("= expected after " + column);
    if (!ValueArg(lexer, &value)) return false;
    if (value.kind == ScriptValue::kObject) return Fail("a column takes no object");
    columnNames.push_back(column);
    values.push_back(value);
  }
  if (!lexer.error().empty()) return Fail(lexer.error());
  std::vector<KORAFieldUpdate> fields(values.size());
  KORABoolean updated = 0;
  bool unknownColumn = false;
  CallPlugin(cursor->database, "update", [&] {
    const int32_t count = cursor->definition->columnCount(cursor->data);
    for (size_t i = 0; i < values.size(); ++i) {
      KORAFieldUpdate& field = fields[i];
      if (!ParseColumn(columnNames[i], &field.column)) {
        field.column = -1;
        for (int32_t c = 0; c < count && field.column < 0; ++c) {
          if (SameName(FromText(cursor->definition->columnName(cursor->data, c)), columnNames[i])) {
            field.column = c;
          }
        }
        if (field.column < 0) {
          unknownColumn = true;
          return;
        }
      }
      const ScriptValue& v = values[i];
      KORAColumnValue& out = field.value;
      switch (v.kind) {
        case ScriptValue::kNil:
          out.type = cursor->definition->columnType(cursor->data, field.column);
          out.isNull = 1;
          break;
        case ScriptValue::kInteger:
          out.type = KORA_FIELD_INTEGER;
          out.integer = v.integer;
          break;
        case ScriptValue::kBoolean:
          out.type = KORA_FIELD_BOOLEAN;
          out.integer = v.integer;
          break;
        case ScriptValue::kDouble:
          out.type = KORA_FIELD_DOUBLE;
          out.number = v.number;
          break;
        case ScriptValue::kText:
          out.type = v.textType;
          out.text = TextView(v.text);
          break;
        case ScriptValue::kObject:
          break;
      }
    }
    updated = cursor->definition->update(cursor->data, fields.data(),
                                         static_cast<int32_t>(fields.size()));
  });
  if (unknownColumn) return Fail("the cursor has no column of that name");
  Print(std::string("update = ") + (updated ? "true" : "false"));
  return true;
}

bool Interpreter::CmdDeleteRow(ScriptLexer& lexer) {
  HostCursor* cursor = nullptr;
  if (!CursorArg(lexer, &cursor) || !ExpectEnd(lexer)) return false;
  if (!cursor->definition->deleteRow) {
    Print("deleterow: not supported by this cursor");
    return true;
  }
  KORABoolean deleted = 0;
  CallPlugin(cursor->database, "deleteRow",
             [&] { deleted = cursor->definition->deleteRow(cursor->data); });
  Print(std::string("deleterow = ") + (deleted ? "true" : "false"));
  return true;
}

}  // namespace kora_host
