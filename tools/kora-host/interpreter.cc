// The interpreter's core: dispatch, arguments, variables, objects and methods.
#include "interpreter.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "method_call.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

KORAObject Handle(HostObject* object) { return reinterpret_cast<KORAObject>(object); }

bool ParseInteger(const std::string& text, int32_t* out) {
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, *out);
  return ec == std::errc() && ptr == end;
}

bool ParseDouble(const std::string& text, double* out) {
  if (text.find_first_of(".eE") == std::string::npos) return false;
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, *out);
  return ec == std::errc() && ptr == end;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string FormatNumber(double value) {
  char buffer[64];
  auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, ptr) : std::string("?");
}

const char* TextTypePrefix(int32_t type) {
  switch (type) {
    case KORA_FIELD_DATE: return "date:";
    case KORA_FIELD_TIME: return "time:";
    case KORA_FIELD_TIMESTAMP: return "timestamp:";
    case KORA_FIELD_BINARY: return "binary:";
    default: return "";
  }
}

}  // namespace

const std::map<std::string, Interpreter::Handler>& Interpreter::Commands() {
  static const std::map<std::string, Handler> commands = {
      {"new", &Interpreter::CmdNew},
      {"file", &Interpreter::CmdFile},
      {"writefile", &Interpreter::CmdWriteFile},
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

// ---- objects and values ---------------------------------------------------------------------

// new VAR CLASS: an instance made by the class's constructor.
bool Interpreter::CmdNew(ScriptLexer& lexer) {
  std::string name, className;
  if (!WordArg(lexer, "variable name", &name) || !WordArg(lexer, "class name", &className) ||
      !ExpectEnd(lexer)) {
    return false;
  }
  const RegisteredClass* cls = World().FindClass(className);
  if (!cls) return Fail("no class " + className + " is registered");
  HostObject* object = nullptr;
  if (cls->definition->constructor) {
    KORAObject made = nullptr;
    CallPlugin(nullptr, "constructor of " + cls->name,
               [&] { made = cls->definition->constructor(); });
    object = World().Checked(made, "constructor");
  } else {
    object = World().NewObject(cls->name);
    object->cls = cls;
    object->data.assign(static_cast<size_t>(cls->definition->dataSize), 0);
  }
  if (!object) {
    Print(name + " = nil");
    Unbind(name);
    return true;
  }
  BindObject(name, object);
  return true;
}

// file VAR [PATH]: a FolderItem for a host file (none: an item that is no file).
bool Interpreter::CmdFile(ScriptLexer& lexer) {
  std::string name, path;
  if (!WordArg(lexer, "variable name", &name)) return false;
  if (!lexer.AtEnd() && !TextArg(lexer, "path", &path)) return false;
  if (!ExpectEnd(lexer)) return false;
  BindObject(name, World().NewFolderItem(path.empty() ? "" : World().ResolvePath(path)));
  return true;
}

// writefile PATH ITEM...: writes a host file from "strings", hex byte runs
// (56465376) and repeated bytes (00*992), to prepare files a program meets.
bool Interpreter::CmdWriteFile(ScriptLexer& lexer) {
  std::string path, bytes;
  if (!TextArg(lexer, "path", &path)) return false;
  while (!lexer.AtEnd()) {
    const Token token = lexer.Next();
    if (token.kind == Token::kString) {
      bytes += token.text;
      continue;
    }
    if (token.kind != Token::kWord) return Fail("bytes expected");
    std::string hex = token.text;
    int32_t repeat = 1;
    if (const size_t star = hex.find('*'); star != std::string::npos) {
      if (!ParseInteger(hex.substr(star + 1), &repeat) || repeat < 0) return Fail("bad repeat count");
      hex.resize(star);
    }
    if (hex.empty() || hex.size() % 2 != 0) return Fail("bad hex bytes \"" + token.text + "\"");
    std::string run;
    for (size_t i = 0; i < hex.size(); i += 2) {
      const int hi = HexValue(hex[i]);
      const int lo = HexValue(hex[i + 1]);
      if (hi < 0 || lo < 0) return Fail("bad hex bytes \"" + token.text + "\"");
      run.push_back(static_cast<char>(hi * 16 + lo));
    }
    for (int32_t i = 0; i < repeat; ++i) bytes += run;
  }
  if (!lexer.error().empty()) return Fail(lexer.error());
  std::FILE* file = std::fopen(World().ResolvePath(path).c_str(), "wb");
  if (!file) return Fail("can't write " + path);
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (std::fclose(file) != 0 || !written) return Fail("can't write " + path);
  return true;
}

bool Interpreter::CmdLet(ScriptLexer& lexer) {
  std::string name;
  ScriptValue value;
  if (!WordArg(lexer, "variable name", &name) || !ValueArg(lexer, &value) || !ExpectEnd(lexer)) {
    return false;
  }
  BindValue(name, value);
  return true;
}

// print VAR [N]: a value variable (texts: the first N bytes).
bool Interpreter::CmdPrint(ScriptLexer& lexer) {
  std::string name, count;
  if (!WordArg(lexer, "variable name", &name)) return false;
  int32_t limit = -1;
  if (!lexer.AtEnd() && (!WordArg(lexer, "byte count", &count) || !ParseInteger(count, &limit) ||
                         limit < 0)) {
    return Fail("byte count expected");
  }
  if (!ExpectEnd(lexer)) return false;
  const auto found = mVars.find(name);
  if (found == mVars.end() || !found->second.value) return Fail(name + " holds no value");
  const ScriptValue& value = *found->second.value;
  if (value.kind == ScriptValue::kText) {
    Print(name + " = " + TextTypePrefix(value.textType) +
          ShowText(value.text, limit < 0 ? std::string::npos : static_cast<size_t>(limit)) + " (" +
          std::to_string(value.text.size()) + " bytes)");
  } else {
    Print(name + " = " + ShowValue(value));
  }
  return true;
}

bool Interpreter::CmdSetProp(ScriptLexer& lexer) {
  HostObject* object = nullptr;
  std::string property;
  ScriptValue value;
  if (!ObjectArg(lexer, &object) || !WordArg(lexer, "property name", &property) ||
      !ValueArg(lexer, &value) || !ExpectEnd(lexer)) {
    return false;
  }
  const PropertyDecl* decl = nullptr;
  if (object->cls) {
    for (const PropertyDecl& p : object->cls->properties) {
      if (SameName(p.name, property)) decl = &p;
    }
  }
  if (!decl) return Fail(object->label + " has no property " + property);
  PropertyValue& stored = object->properties[decl->name];
  switch (decl->ctype) {
    case CType::kObject: {
      if (value.kind != ScriptValue::kObject && value.kind != ScriptValue::kNil) {
        return Fail(decl->name + " takes a " + decl->type);
      }
      if (value.object && !SameName(value.object->className, decl->type)) {
        return Fail(decl->name + " takes a " + decl->type);
      }
      World().AddRef(value.object);
      HostObject* old = std::holds_alternative<HostObject*>(stored) ? std::get<HostObject*>(stored)
                                                                      : nullptr;
      stored = value.object;
      World().Release(old);
      return true;
    }
    case CType::kText:
      if (value.kind != ScriptValue::kText) return Fail(decl->name + " takes a text");
      stored = value.text;
      return true;
    case CType::kInt:
      if (value.kind != ScriptValue::kInteger && value.kind != ScriptValue::kBoolean) {
        return Fail(decl->name + " takes a number");
      }
      stored = value.integer;
      return true;
    case CType::kVoid:
      break;
  }
  return Fail("bad property type");
}

bool Interpreter::CmdGetProp(ScriptLexer& lexer) {
  HostObject* object = nullptr;
  std::string property;
  if (!ObjectArg(lexer, &object) || !WordArg(lexer, "property name", &property) ||
      !ExpectEnd(lexer)) {
    return false;
  }
  const auto found = object->properties.find(property);
  std::string shown = "nil";
  if (found != object->properties.end()) {
    const PropertyValue& value = found->second;
    if (const auto* ref = std::get_if<HostObject*>(&value); ref && *ref) {
      shown = World().LabelOf(*ref);
      if (!(*ref)->path.empty()) shown += " (" + (*ref)->path + ")";
    } else if (const auto* text = std::get_if<std::string>(&value)) {
      shown = ShowText(*text);
    } else if (const auto* number = std::get_if<int32_t>(&value)) {
      shown = std::to_string(*number);
    }
  }
  Print(object->label + "." + property + " = " + shown);
  return true;
}

// call OBJ METHOD [ARG...] [-> VAR]
bool Interpreter::CmdCall(ScriptLexer& lexer) {
  HostObject* object = nullptr;
  std::string methodName;
  if (!ObjectArg(lexer, &object) || !WordArg(lexer, "method name", &methodName)) return false;
  const MethodDecl* method = nullptr;
  if (object->cls) {
    for (const MethodDecl& m : object->cls->methods) {
      if (SameName(m.name, methodName)) method = &m;
    }
  }
  if (!method) return Fail(object->label + " has no method " + methodName);
  std::vector<ScriptValue> values;
  std::string target;
  while (!lexer.AtEnd()) {
    if (lexer.Peek().kind == Token::kWord && lexer.Peek().text == "->") {
      if (!TargetArg(lexer, &target)) return false;
      break;
    }
    ScriptValue value;
    if (!ValueArg(lexer, &value)) return false;
    values.push_back(value);
  }
  if (!lexer.error().empty()) return Fail(lexer.error());
  if (values.size() > method->params.size()) return Fail("too many arguments for " + method->text);
  std::vector<CValue> args;
  for (size_t i = 0; i < method->params.size(); ++i) {
    const ParamDecl& param = method->params[i];
    ScriptValue value;
    if (i < values.size()) {
      value = values[i];
    } else if (!param.defaultValue.empty()) {
      ScriptLexer defaultLexer(param.defaultValue);
      if (!ValueArg(defaultLexer, &value)) return false;
    } else {
      return Fail("missing argument " + param.name + " of " + method->text);
    }
    CValue arg;
    arg.type = param.ctype;
    const bool fits =
        (param.ctype == CType::kText && value.kind == ScriptValue::kText) ||
        (param.ctype == CType::kInt &&
         (value.kind == ScriptValue::kInteger || value.kind == ScriptValue::kBoolean)) ||
        (param.ctype == CType::kObject &&
         (value.kind == ScriptValue::kObject || value.kind == ScriptValue::kNil));
    if (!fits) return Fail("argument " + param.name + " must be a " + param.type);
    values.resize(std::max(values.size(), i + 1));
    values[i] = value;  // keeps the text alive for the call
    args.push_back(arg);
  }
  for (size_t i = 0; i < args.size(); ++i) {
    args[i].text = TextView(values[i].text);
    args[i].integer = values[i].integer;
    args[i].object = Handle(values[i].object);
  }
  CValue result;
  std::string resultText;
  CallPlugin(object, object->label + "." + method->name, [&] {
    result = CallMethod(*method, Handle(object), args);
    if (result.type == CType::kText) resultText = FromText(result.text);
  });
  const std::string shownCall = object->label + "." + method->name;
  switch (method->result) {
    case CType::kVoid:
      break;
    case CType::kInt:
      if (SameName(method->resultType, "Boolean")) {
        Print(shownCall + " = " + (result.integer ? "true" : "false"));
      } else {
        Print(shownCall + " = " + std::to_string(result.integer));
      }
      break;
    case CType::kText: {
      ScriptValue text;
      text.kind = ScriptValue::kText;
      text.text = resultText;
      if (target.empty()) {
        Print(shownCall + " = " + ShowText(resultText));
      } else {
        BindValue(target, text);
        Print(shownCall + " -> " + target + " (" + std::to_string(resultText.size()) + " bytes)");
      }
      break;
    }
    case CType::kObject: {
      HostObject* made = World().Checked(result.object, method->name.c_str());
      Print(shownCall + " = " + World().LabelOf(made));
      if (!target.empty() && made) {
        BindObject(target, made);
      } else {
        World().Release(made);
      }
      break;
    }
  }
  return true;
}

bool Interpreter::CmdRelease(ScriptLexer& lexer) {
  std::string name;
  if (!WordArg(lexer, "variable name", &name) || !ExpectEnd(lexer)) return false;
  if (!mVars.count(name)) return Fail("unknown variable " + name);
  Unbind(name);
  return true;
}

// registry: what the plug-in registered, in registration order, and the
// classes, engines, cursor types and data sources in detail.
bool Interpreter::CmdRegistry(ScriptLexer& lexer) {
  if (!ExpectEnd(lexer)) return false;
  for (const std::string& entry : World().registrationLog) Print("registered " + entry);
  for (const auto& cls : World().classes) {
    Print("class " + cls->name + " super " + cls->superName +
          (cls->definition->constructor ? ", with constructor" : ""));
    for (const PropertyDecl& p : cls->properties) Print("  property " + p.name + " As " + p.type);
    for (const MethodDecl& m : cls->methods) Print("  method " + m.text);
  }
  for (const KORADatabaseEngine* e : World().engines) {
    const std::pair<const char*, bool> slots[] = {
        {"close", e->close != nullptr},           {"tableSchema", e->tableSchema != nullptr},
        {"fieldSchema", e->fieldSchema != nullptr}, {"directSelect", e->directSelect != nullptr},
        {"directExecute", e->directExecute != nullptr},
        {"indexSchema", e->indexSchema != nullptr}, {"commit", e->commit != nullptr},
        {"rollback", e->rollback != nullptr},     {"columnTypes", e->columnTypes != nullptr},
        {"addTableRecord", e->addTableRecord != nullptr},
        {"lastErrorMessage", e->lastErrorMessage != nullptr}};
    std::string filled, empty;
    for (const auto& [slot, set] : slots) (set ? filled : empty) += std::string(" ") + slot;
    Print("engine version " + std::to_string(e->version) + ":" + filled + "; empty:" + empty);
  }
  for (const KORADBCursorDefinition* c : World().cursorTypes) {
    const std::pair<const char*, bool> slots[] = {
        {"close", c->close != nullptr},         {"columnCount", c->columnCount != nullptr},
        {"columnName", c->columnName != nullptr}, {"columnType", c->columnType != nullptr},
        {"columnValue", c->columnValue != nullptr}, {"rowCount", c->rowCount != nullptr},
        {"next", c->next != nullptr},           {"previous", c->previous != nullptr},
        {"first", c->first != nullptr},         {"last", c->last != nullptr},
        {"update", c->update != nullptr},       {"deleteRow", c->deleteRow != nullptr}};
    std::string filled, empty;
    for (const auto& [slot, set] : slots) (set ? filled : empty) += std::string(" ") + slot;
    Print("cursor version " + std::to_string(c->version) + ":" + filled + "; empty:" + empty);
  }
  for (const KORADataSourceEntry* d : World().dataSources) {
    Print(std::string("data source \"") + d->menuTitle + "\"");
  }
  return true;
}

// sentry: the plug-in's session depth as the host sees it between calls.
bool Interpreter::CmdSentry(ScriptLexer& lexer) {
  if (!ExpectEnd(lexer)) return false;
  if (!World().sessionDepth) return Fail("the plug-in exports no ParvexSessionDepth");
  Print("session depth " + std::to_string(World().sessionDepth()));
  return true;
}

bool Interpreter::CmdEcho(ScriptLexer& lexer) {
  lexer.Rest();
  return true;  // the echo of the line is the output
}

}  // namespace kora_host
