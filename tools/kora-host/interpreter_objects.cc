// Script commands on objects and values: instances, FolderItems and host
// files, properties, method calls, variables, and the registry listing.
#include <cstdio>
#include <filesystem>

#include "interpreter.h"
#include "method_call.h"
#include "script_format.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

KORAObject Handle(HostObject* object) { return reinterpret_cast<KORAObject>(object); }

}  // namespace

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

// mkdir "PATH": makes a folder (for example where the engine wants a file).
bool Interpreter::CmdMkdir(ScriptLexer& lexer) {
  std::string path;
  if (!TextArg(lexer, "path", &path) || !ExpectEnd(lexer)) return false;
  std::error_code error;
  if (!std::filesystem::create_directory(World().ResolvePath(path), error)) return Fail("can't make " + path);
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
          ShowText(value.text, limit < 0 ? std::string::npos : static_cast<size_t>(limit)));
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
        Print(shownCall + " -> " + target + (resultText.empty() ? " (empty)" : ""));
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
