// The interpreter's core: dispatch, arguments, variables and printing.
#include "interpreter.h"

#include <cstdio>

#include "method_call.h"
#include "script_format.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

}  // namespace

const std::map<std::string, Interpreter::Handler>& Interpreter::Commands() {
  static const std::map<std::string, Handler> commands = {
      {"new", &Interpreter::CmdNew},
      {"file", &Interpreter::CmdFile},
      {"writefile", &Interpreter::CmdWriteFile},
      {"mkdir", &Interpreter::CmdMkdir},
      {"let", &Interpreter::CmdLet},
      {"print", &Interpreter::CmdPrint},
      {"setprop", &Interpreter::CmdSetProp},
      {"getprop", &Interpreter::CmdGetProp},
      {"call", &Interpreter::CmdCall},
      {"release", &Interpreter::CmdRelease},
      {"registry", &Interpreter::CmdRegistry},
      {"sentry", &Interpreter::CmdSentry},
      {"echo", &Interpreter::CmdEcho},
      {"dialog", &Interpreter::CmdDialog},
      {"withhold", &Interpreter::CmdWithhold},
      {"menu", &Interpreter::CmdMenu},
      {"opendatasource", &Interpreter::CmdOpenDataSource},
      {"execute", &Interpreter::CmdExecute},
      {"select", &Interpreter::CmdSelect},
      {"tableschema", &Interpreter::CmdTableSchema},
      {"fieldschema", &Interpreter::CmdFieldSchema},
      {"indexschema", &Interpreter::CmdIndexSchema},
      {"columntypes", &Interpreter::CmdColumnTypes},
      {"commit", &Interpreter::CmdCommit},
      {"rollback", &Interpreter::CmdRollback},
      {"close", &Interpreter::CmdClose},
      {"insertrecord", &Interpreter::CmdInsertRecord},
      {"connected", &Interpreter::CmdConnected},
      {"error", &Interpreter::CmdError},
      {"first", &Interpreter::CmdFirst},
      {"last", &Interpreter::CmdLast},
      {"previous", &Interpreter::CmdPrevious},
      {"next", &Interpreter::CmdNext},
      {"rowcount", &Interpreter::CmdRowCount},
      {"columncount", &Interpreter::CmdColumnCount},
      {"names", &Interpreter::CmdNames},
      {"types", &Interpreter::CmdTypes},
      {"value", &Interpreter::CmdValue},
      {"row", &Interpreter::CmdRow},
      {"dump", &Interpreter::CmdDump},
      {"edit", &Interpreter::CmdEdit},
      {"deleterow", &Interpreter::CmdDeleteRow},
  };
  return commands;
}

Interpreter::~Interpreter() = default;

bool Interpreter::RunLine(const std::string& line) {
  mError.clear();
  ScriptLexer lexer(line);
  const Token first = lexer.Next();
  if (first.kind == Token::kEnd && lexer.error().empty()) return true;  // blank line
  if (first.kind == Token::kWord && first.text[0] == '#') return true;  // comment
  std::string echo = line;
  while (!echo.empty() && (echo.back() == ' ' || echo.back() == '\r')) echo.pop_back();
  const size_t start = echo.find_first_not_of(" \t");
  Print("> " + echo.substr(start == std::string::npos ? 0 : start));
  if (first.kind != Token::kWord) return Fail("a line starts with a command word");
  const auto& commands = Commands();
  const auto found = commands.find(first.text);
  if (found == commands.end()) return Fail("unknown command \"" + first.text + "\"");
  return (this->*found->second)(lexer);
}

void Interpreter::Finish() {
  World().CloseAllCursors();
  std::vector<std::string> names;
  for (const auto& [name, variable] : mVars) names.push_back(name);
  for (const std::string& name : names) Unbind(name);
  if (World().LiveObjects() != 0) {
    World().Violation(std::to_string(World().LiveObjects()) +
                      " object(s) still referenced when the script ended");
  }
}

// ---- helpers ----------------------------------------------------------------------------

bool Interpreter::Fail(const std::string& message) {
  mError = message;
  return false;
}

bool Interpreter::ExpectEnd(ScriptLexer& lexer) {
  if (lexer.AtEnd() && lexer.error().empty()) return true;
  return Fail(lexer.error().empty() ? "unexpected \"" + lexer.Next().text + "\"" : lexer.error());
}

bool Interpreter::WordArg(ScriptLexer& lexer, const char* what, std::string* out) {
  const Token token = lexer.Next();
  if (token.kind != Token::kWord) return Fail(std::string(what) + " expected");
  *out = token.text;
  return true;
}

// A text: a quoted string or a variable holding one.
bool Interpreter::TextArg(ScriptLexer& lexer, const char* what, std::string* out) {
  ScriptValue value;
  if (!ValueArg(lexer, &value) || value.kind != ScriptValue::kText) {
    return Fail(std::string(what) + " (a text) expected");
  }
  *out = value.text;
  return true;
}

bool Interpreter::ValueArg(ScriptLexer& lexer, ScriptValue* out) {
  Token token = lexer.Next();
  *out = ScriptValue();
  if (token.kind == Token::kString) {
    out->kind = ScriptValue::kText;
    out->text = token.text;
    return true;
  }
  if (token.kind != Token::kWord) return Fail(lexer.error().empty() ? "value expected" : lexer.error());
  const std::string& word = token.text;
  if (word == "nil") return true;
  if (word == "true" || word == "false") {
    out->kind = ScriptValue::kBoolean;
    out->integer = word == "true";
    return true;
  }
  if (ParseInteger(word, &out->integer)) {
    out->kind = ScriptValue::kInteger;
    return true;
  }
  if (ParseDouble(word, &out->number)) {
    out->kind = ScriptValue::kDouble;
    return true;
  }
  static const std::map<std::string, int32_t> kTyped = {
      {"string:", KORA_FIELD_STRING},     {"date:", KORA_FIELD_DATE},
      {"time:", KORA_FIELD_TIME},         {"timestamp:", KORA_FIELD_TIMESTAMP},
      {"binary:", KORA_FIELD_BINARY}};
  if (const auto typed = kTyped.find(word); typed != kTyped.end()) {
    const Token text = lexer.Next();
    if (text.kind != Token::kString || !text.glued) return Fail(word + " needs a string behind it");
    out->kind = ScriptValue::kText;
    out->textType = typed->second;
    out->text = text.text;
    return true;
  }
  if (word[0] == '$') {
    const auto found = mVars.find(word.substr(1));
    if (found == mVars.end()) return Fail("unknown variable " + word);
    const Variable& variable = found->second;
    if (variable.value) {
      *out = *variable.value;
    } else if (variable.object) {
      out->kind = ScriptValue::kObject;
      out->object = variable.object;
    } else {
      return Fail(word + " is a cursor, not a value");
    }
    return true;
  }
  const auto found = mVars.find(word);
  if (found != mVars.end() && found->second.object) {
    out->kind = ScriptValue::kObject;
    out->object = found->second.object;
    return true;
  }
  return Fail("bad value \"" + word + "\"");
}

bool Interpreter::ObjectArg(ScriptLexer& lexer, HostObject** out) {
  std::string name;
  if (!WordArg(lexer, "object name", &name)) return false;
  const auto found = mVars.find(name);
  if (found == mVars.end() || !found->second.object) return Fail(name + " is not an object");
  *out = found->second.object;
  return true;
}

bool Interpreter::DatabaseArg(ScriptLexer& lexer, HostObject** out) {
  if (!ObjectArg(lexer, out)) return false;
  if (!(*out)->engine) return Fail((*out)->label + " is not a database object");
  return true;
}

bool Interpreter::CursorArg(ScriptLexer& lexer, HostCursor** out) {
  std::string name;
  if (!WordArg(lexer, "cursor name", &name)) return false;
  const auto found = mVars.find(name);
  if (found == mVars.end() || !found->second.cursor) return Fail(name + " is not a cursor");
  if (found->second.cursor->closed) return Fail(name + " is closed");
  *out = found->second.cursor;
  return true;
}

bool Interpreter::TargetArg(ScriptLexer& lexer, std::string* target) {
  target->clear();
  if (lexer.AtEnd()) return lexer.error().empty() || Fail(lexer.error());
  const Token arrow = lexer.Next();
  if (arrow.kind != Token::kWord || arrow.text != "->") return Fail("\"-> name\" expected");
  return WordArg(lexer, "variable name", target) && ExpectEnd(lexer);
}

void Interpreter::BindObject(const std::string& name, HostObject* object) {
  Unbind(name);
  if (object && object->label.empty()) object->label = name;
  mVars[name].object = object;
}

void Interpreter::BindCursor(const std::string& name, HostCursor* cursor) {
  Unbind(name);
  mVars[name].cursor = cursor;
}

void Interpreter::BindValue(const std::string& name, const ScriptValue& value) {
  Unbind(name);
  World().AddRef(value.object);
  mVars[name].value = value;
}

void Interpreter::Unbind(const std::string& name) {
  const auto found = mVars.find(name);
  if (found == mVars.end()) return;
  Variable variable = found->second;
  mVars.erase(found);
  if (variable.object) World().Release(variable.object);
  if (variable.value && variable.value->object) World().Release(variable.value->object);
}

void Interpreter::Print(const std::string& line) {
  const std::string shown = World().ShowPaths(line);
  std::fwrite(shown.data(), 1, shown.size(), stdout);
  std::fputc('\n', stdout);
}

std::string Interpreter::ShowText(const std::string& text, size_t limit) {
  std::string out = "\"";
  const size_t shown = std::min(limit, text.size());
  for (size_t i = 0; i < shown; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(c));
    } else if (c == '\n') {
      out.append("\\n");
    } else if (c < 0x20 || c == 0x7F) {
      static const char kHex[] = "0123456789abcdef";
      out.append("\\x");
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 15]);
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  out.push_back('"');
  if (shown < text.size()) out.append("...");
  return out;
}

std::string Interpreter::ShowValue(const ScriptValue& value) {
  switch (value.kind) {
    case ScriptValue::kNil: return "nil";
    case ScriptValue::kInteger: return std::to_string(value.integer);
    case ScriptValue::kDouble: return FormatNumber(value.number);
    case ScriptValue::kBoolean: return value.integer ? "true" : "false";
    case ScriptValue::kText: return TextTypePrefix(value.textType) + ShowText(value.text);
    case ScriptValue::kObject: return World().LabelOf(value.object);
  }
  return "?";
}

}  // namespace kora_host
