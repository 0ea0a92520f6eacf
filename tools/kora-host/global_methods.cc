// File dialogs and save-info texts of the simulated host.
#include "global_methods.h"

#include <filesystem>

#include "host_world.h"
#include "method_call.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

constexpr const char* kAbsolutePrefix = "fsi:";
constexpr const char* kRelativePrefix = "rel:";

std::string Quoted(const KORAText& text) {
  std::string quoted(1, '"');
  quoted += FromText(text);
  quoted += '"';
  return quoted;
}

KORAObject AsHandle(HostObject* object) { return reinterpret_cast<KORAObject>(object); }

// Takes the next scripted answer for a dialog of `kind`; null (a cancel)
// when the answer says so. A missing or mismatched answer is a script fault.
HostObject* AnswerDialog(DialogAnswer::Kind kind, const std::string& request) {
  if (World().dialogAnswers.empty()) {
    World().Violation(request + " asked, but the script queued no dialog answer");
    return nullptr;
  }
  const DialogAnswer answer = World().dialogAnswers.front();
  World().dialogAnswers.pop_front();
  if (answer.kind == DialogAnswer::kCancel) {
    World().dialogLog.push_back("dialog " + request + ": cancel");
    return nullptr;
  }
  if (answer.kind != kind) {
    World().Violation(request + " asked, but the next scripted answer is for another dialog");
    return nullptr;
  }
  World().dialogLog.push_back("dialog " + request + ": " + World().ShowPaths(answer.path));
  return World().NewFolderItem(answer.path);
}

KORAObject GetSaveFolderItem(KORAText filter, KORAText defName) {
  World().ServiceEntered("GetSaveFolderItem");
  const std::string request =
      "GetSaveFolderItem(filter " + Quoted(filter) + ", default name " + Quoted(defName) + ")";
  return AsHandle(AnswerDialog(DialogAnswer::kSave, request));
}

KORAObject GetOpenFolderItem(KORAText filter) {
  World().ServiceEntered("GetOpenFolderItem");
  return AsHandle(AnswerDialog(DialogAnswer::kOpen, "GetOpenFolderItem(filter " + Quoted(filter) + ")"));
}

KORAText GetSaveInfo(KORAObject base, int32_t mode) {
  World().ServiceEntered("GetSaveInfo");
  HostObject* item = World().Checked(base, "GetSaveInfo");
  if (!item || item->className != "FolderItem" || item->path.empty()) return World().ReturnText("");
  if (mode == 0) return World().ReturnText(kAbsolutePrefix + item->path);
  if (mode == 1) {
    const std::filesystem::path relative =
        std::filesystem::path(item->path).lexically_relative(World().WorkFolder());
    return World().ReturnText(kRelativePrefix + relative.string());
  }
  return World().ReturnText("");
}

bool HasPrefix(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0 && text.size() > std::char_traits<char>::length(prefix);
}

KORAObject GetFolderItem(KORAText saveInfo) {
  World().ServiceEntered("GetFolderItem");
  const std::string info = FromText(saveInfo);
  if (!HasPrefix(info, kAbsolutePrefix)) return nullptr;
  return AsHandle(World().NewFolderItem(info.substr(4)));
}

KORAObject GetRelative(KORAText saveInfo) {
  World().ServiceEntered("GetRelative");
  const std::string info = FromText(saveInfo);
  if (HasPrefix(info, kAbsolutePrefix)) return AsHandle(World().NewFolderItem(info.substr(4)));
  if (HasPrefix(info, kRelativePrefix)) {
    return AsHandle(World().NewFolderItem(World().ResolvePath(info.substr(4))));
  }
  return nullptr;
}

template <typename Function>
KORAFunction AsFunction(Function function) {
  return reinterpret_cast<KORAFunction>(function);
}

struct GlobalMethod {
  const char* name;
  const char* declaration;
  KORAFunction function;
};

const GlobalMethod kGlobalMethods[] = {
    {"GetSaveFolderItem", "GetSaveFolderItem(filter as String, defName as String) as FolderItem",
     AsFunction(GetSaveFolderItem)},
    {"GetOpenFolderItem", "GetOpenFolderItem(filter as String) as FolderItem",
     AsFunction(GetOpenFolderItem)},
    {"GetSaveInfo", "GetSaveInfo(base as FolderItem, mode as Integer=0) as String",
     AsFunction(GetSaveInfo)},
    {"GetFolderItem", "GetFolderItem(saveInfo as String) as FolderItem", AsFunction(GetFolderItem)},
    {"GetRelative", "GetRelative(saveInfo as String) as FolderItem", AsFunction(GetRelative)},
};

}  // namespace

KORAFunction FindGlobalMethod(const std::string& declaration) {
  const std::string wanted = NormalizeDeclaration(declaration);
  for (const GlobalMethod& method : kGlobalMethods) {
    if (NormalizeDeclaration(method.declaration) != wanted) continue;
    for (const std::string& withheld : World().withheldMethods) {
      if (SameName(withheld, method.name)) return nullptr;
    }
    return method.function;
  }
  return nullptr;
}

}  // namespace kora_host
