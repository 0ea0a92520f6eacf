// Script commands of the design-time data sources: dialog answers, withheld
// global methods, the database menu and opening a stored data source.
#include "interpreter.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

const KORADataSourceEntry* FindDataSource(const std::string& title) {
  for (const KORADataSourceEntry* entry : World().dataSources) {
    if (title == entry->menuTitle) return entry;
  }
  return nullptr;
}

}  // namespace

// dialog save PATH | dialog open PATH | dialog cancel: queues the answer to
// the next file dialog.
bool Interpreter::CmdDialog(ScriptLexer& lexer) {
  std::string kind;
  if (!WordArg(lexer, "save, open or cancel", &kind)) return false;
  DialogAnswer answer;
  if (kind == "cancel") {
    answer.kind = DialogAnswer::kCancel;
  } else if (kind == "save" || kind == "open") {
    answer.kind = kind == "save" ? DialogAnswer::kSave : DialogAnswer::kOpen;
    std::string path;
    if (!TextArg(lexer, "path", &path)) return false;
    answer.path = World().ResolvePath(path);
  } else {
    return Fail("save, open or cancel expected");
  }
  if (!ExpectEnd(lexer)) return false;
  World().dialogAnswers.push_back(answer);
  return true;
}

// withhold NAME: loading the global method NAME fails from now on.
bool Interpreter::CmdWithhold(ScriptLexer& lexer) {
  std::string name;
  if (!WordArg(lexer, "global method name", &name) || !ExpectEnd(lexer)) return false;
  World().withheldMethods.push_back(name);
  return true;
}

// menu "TITLE" [-> VAR]: runs a data source's dialog; the save info goes to VAR.
bool Interpreter::CmdMenu(ScriptLexer& lexer) {
  std::string title, target;
  if (!TextArg(lexer, "menu title", &title) || !TargetArg(lexer, &target)) return false;
  const KORADataSourceEntry* entry = FindDataSource(title);
  if (!entry) return Fail("no data source \"" + title + "\"");
  KORABoolean chosen = 0;
  std::string saveInfo, error;
  CallPlugin(nullptr, "menu " + title, [&] {
    KORAText infoText{}, errorText{};
    chosen = entry->choose(&infoText, &errorText);
    saveInfo = FromText(infoText);
    error = FromText(errorText);
  });
  if (!chosen) {
    Print("menu \"" + title + "\" failed: " + error);
    return true;
  }
  Print("menu \"" + title + "\" = save info " + ShowText(saveInfo));
  if (!target.empty()) {
    ScriptValue value;
    value.kind = ScriptValue::kText;
    value.text = saveInfo;
    BindValue(target, value);
  }
  return true;
}

// opendatasource VAR "TITLE" SAVEINFO: the database a data source's save
// info names, opened by its plug-in.
bool Interpreter::CmdOpenDataSource(ScriptLexer& lexer) {
  std::string name, title, saveInfo;
  if (!WordArg(lexer, "variable name", &name) || !TextArg(lexer, "menu title", &title) ||
      !TextArg(lexer, "save info", &saveInfo) || !ExpectEnd(lexer)) {
    return false;
  }
  const KORADataSourceEntry* entry = FindDataSource(title);
  if (!entry) return Fail("no data source \"" + title + "\"");
  KORAObject made = nullptr;
  std::string error;
  CallPlugin(nullptr, "open data source " + title, [&] {
    KORAText errorText{};
    made = entry->getDatabase(TextView(saveInfo), &errorText);
    if (!made) error = FromText(errorText);
  });
  HostObject* db = World().Checked(made, "getDatabase");
  if (!db) {
    Print(name + " = nil: " + error);
    Unbind(name);
    return true;
  }
  BindObject(name, db);
  Print(name + " = " + db->className + (db->connected ? ", connected" : ", not connected"));
  return true;
}

}  // namespace kora_host
