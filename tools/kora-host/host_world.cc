// The simulated host's objects, registrations, cursors and contract checks.
#include "host_world.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace kora_host {

HostWorld& HostWorld::Get() {
  static HostWorld world;
  return world;
}

std::string HostWorld::ResolvePath(const std::string& path) const {
  std::filesystem::path p(path);
  if (p.is_relative()) p = std::filesystem::path(mWorkFolder) / p;
  return p.lexically_normal().string();
}

std::string HostWorld::ShowPaths(const std::string& text) const {
  if (mWorkFolder.empty()) return text;
  std::string out;
  size_t start = 0;
  for (;;) {
    const size_t at = text.find(mWorkFolder, start);
    if (at == std::string::npos) break;
    out.append(text, start, at - start);
    out.append("$WORK");
    start = at + mWorkFolder.size();
  }
  out.append(text, start, std::string::npos);
  return out;
}

// ---- objects ------------------------------------------------------------------

HostObject* HostWorld::NewObject(const std::string& className) {
  auto object = std::make_unique<HostObject>();
  object->className = className;
  HostObject* raw = object.get();
  mObjects.emplace(raw, std::move(object));
  return raw;
}

HostObject* HostWorld::NewFolderItem(const std::string& absolutePath) {
  HostObject* item = NewObject("FolderItem");
  item->path = absolutePath;
  return item;
}

bool HostWorld::IsLive(const HostObject* object) const {
  return object && mObjects.count(object) != 0;
}

void HostWorld::AddRef(HostObject* object) {
  if (IsLive(object)) ++object->refs;
}

void HostWorld::Release(HostObject* object) {
  if (!IsLive(object)) return;
  if (--object->refs > 0) return;
  Destroy(object);
}

// A dying database object is closed first, as the host's Database class
// does; then the references its properties hold go.
void HostWorld::Destroy(HostObject* object) {
  if (object->engine && object->connected && object->engine->close) {
    ++object->refs;  // alive during its close
    if (insidePlugin) {
      // Released by the plug-in itself: the close runs inside its call.
      object->engine->close(reinterpret_cast<KORAObject>(object));
    } else {
      BeginCall(object);
      insidePlugin = true;
      object->engine->close(reinterpret_cast<KORAObject>(object));
      insidePlugin = false;
      CheckBalanced("close of " + LabelOf(object));
      EndCall();
    }
    object->connected = false;
    --object->refs;
  }
  std::vector<HostObject*> held;
  for (auto& [name, value] : object->properties) {
    if (auto* ref = std::get_if<HostObject*>(&value); ref && *ref) held.push_back(*ref);
  }
  mObjects.erase(object);
  for (HostObject* ref : held) Release(ref);
}

HostObject* HostWorld::Checked(KORAObject handle, const char* service) {
  auto* object = reinterpret_cast<HostObject*>(handle);
  if (!object) return nullptr;
  if (!IsLive(object)) {
    Violation(std::string(service) + " called with an object that no longer exists");
    return nullptr;
  }
  return object;
}

std::string HostWorld::LabelOf(const HostObject* object) const {
  if (!object) return "nil";
  return object->label.empty() ? "(" + object->className + ")" : object->label;
}

const RegisteredClass* HostWorld::FindClass(const std::string& name) const {
  for (const auto& cls : classes) {
    if (SameName(cls->name, name)) return cls.get();
  }
  return nullptr;
}

// ---- cursors --------------------------------------------------------------------

KORADBCursor HostWorld::NewCursor(const KORADBCursorDefinition* definition, void* data) {
  auto cursor = std::make_unique<HostCursor>();
  cursor->definition = definition;
  cursor->data = data;
  cursor->database = mCallDatabase;
  AddRef(cursor->database);
  HostCursor* raw = cursor.get();
  mCursors.push_back(std::move(cursor));
  mCursorsByHandle.emplace(raw, raw);
  return reinterpret_cast<KORADBCursor>(raw);
}

HostCursor* HostWorld::CursorOf(KORADBCursor handle) const {
  const auto found = mCursorsByHandle.find(handle);
  return found == mCursorsByHandle.end() ? nullptr : found->second;
}

void HostWorld::CloseCursor(HostCursor* cursor) {
  if (!cursor || cursor->closed) return;
  cursor->closed = true;
  BeginCall(cursor->database);
  insidePlugin = true;
  cursor->definition->close(cursor->data);
  insidePlugin = false;
  CheckBalanced("cursor close");
  EndCall();
  cursor->data = nullptr;
  HostObject* database = cursor->database;
  cursor->database = nullptr;
  Release(database);
}

void HostWorld::CloseAllCursors() {
  for (const auto& cursor : mCursors) CloseCursor(cursor.get());
}

// ---- calls and errors -------------------------------------------------------------

void HostWorld::BeginCall(HostObject* database) {
  mCallDatabase = database;
  mCallErrors.clear();
  if (database) {
    database->hasError = false;
    database->errorCode.clear();
    database->errorMessage.clear();
  }
}

std::vector<ReportedError> HostWorld::EndCall() {
  mCallDatabase = nullptr;
  ExpireReturnedText();
  return std::move(mCallErrors);
}

void HostWorld::ReportError(HostObject* object, const std::string& code,
                            const std::string& message) {
  object->hasError = true;
  object->errorCode = code;
  object->errorMessage = message;
  mCallErrors.push_back({LabelOf(object), code, message});
}

KORAText HostWorld::ReturnText(const std::string& text) {
  mReturned = std::make_unique<std::string>(text);
  return TextView(*mReturned);
}

// ---- contract checks ----------------------------------------------------------------

void HostWorld::Violation(const std::string& what) {
  ++violations;
  std::printf("!! violation: %s\n", what.c_str());
}

void HostWorld::ServiceEntered(const char* service) {
  ExpireReturnedText();
  if (!insidePlugin) {
    Violation(std::string(service) + " called while the host was not calling the plug-in");
  } else if (sessionDepth && sessionDepth() <= 0) {
    Violation(std::string(service) + " called outside a SessionSentry");
  }
}

void HostWorld::CheckBalanced(const std::string& call) {
  if (sessionDepth && sessionDepth() != 0) {
    Violation("session depth " + std::to_string(sessionDepth()) + " after " + call);
  }
}

// ---- texts ------------------------------------------------------------------------------

KORAText TextView(const std::string& text) {
  KORAText view;
  view.bytes = text.data();
  view.length = static_cast<int32_t>(text.size());
  view.encoding = KORA_ENCODING_UTF8;
  return view;
}

std::string FromText(const KORAText& text) {
  if (!text.bytes || text.length <= 0) return std::string();
  return std::string(text.bytes, static_cast<size_t>(text.length));
}

}  // namespace kora_host
