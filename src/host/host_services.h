// The host calls the plug-in makes, found by name through the host's resolver.
//
// ResolveHostServices looks every service up once, at load time, and keeps
// the function pointers; Host() hands them out. A service the host does not
// offer leaves the whole set unresolved (the plug-in then refuses to load).
// Global methods (file dialogs, save-info texts) are loaded on demand by
// their declaration, because a host may add or withhold them at any time.
// Also here: the conversions between host texts and the engine's strings,
// and the slot that keeps a returned text alive until the host's next call.
#pragma once

#include <cstdint>
#include <string_view>

#include "kora/kora_plugin.h"
#include "platform/parvex_string.h"

namespace parvex::kora {

struct HostServices {
  KORARegisterClassProc registerClass = nullptr;
  KORARegisterDBEngineProc registerDBEngine = nullptr;
  KORARegisterDBCursorProc registerDBCursor = nullptr;
  KORARegisterDataSourceProc registerDataSource = nullptr;
  KORAGetClassDataProc getClassData = nullptr;
  KORAConstructDBDatabaseProc constructDBDatabase = nullptr;
  KORAGetDBFromKORAdbDatabaseProc getDBFromKORAdbDatabase = nullptr;
  KORASetDBIsConnectedProc setDBIsConnected = nullptr;
  KORAGetPropValueProc getPropValue = nullptr;
  KORASetPropValueProc setPropValue = nullptr;
  KORAReleaseObjectProc releaseObject = nullptr;
  KORAFolderItemPathProc folderItemPath = nullptr;
  KORALoadGlobalMethodProc loadGlobalMethod = nullptr;
  KORAReportDBErrorProc reportDBError = nullptr;
  KORANewDBCursorProc newDBCursor = nullptr;
};

// Looks up every service. On success the set is kept for Host() and true is
// returned; `missing` (when given) receives the name of the first service
// the host does not offer.
bool ResolveHostServices(KORAResolver resolve, const char** missing);
// The resolved services. Only valid after ResolveHostServices succeeded.
const HostServices& Host();

// Loads a global method by its declaration and casts it to its C signature.
template <typename Proc>
Proc LoadGlobalMethod(const char* declaration) {
  const KORAFunction function = Host().loadGlobalMethod(declaration);
  return reinterpret_cast<Proc>(function);
}

// A host text as an engine string (bytes copied, encoding kept).
string FromHostText(const KORAText& text);
// A text pointing at bytes that live elsewhere (valid while they do).
KORAText HostTextView(std::string_view bytes, uint32_t encoding = KORA_ENCODING_DEFAULT);
KORAText HostTextOf(const string& text);
// Keeps `text` until the host's next call into the plug-in and returns a view
// of it: the form in which every text result leaves the plug-in.
KORAText ReturnText(const string& text);

// Hands `message` with its SQLSTATE to the host's error mechanism of `db`.
void ReportDBError(KORAObject db, const char* sqlState, const string& message);
// The state used for failures of the binding itself (not of a statement).
inline constexpr const char* kBindingErrorState = "HY000";

// Gives a host object reference back (null is ignored).
void ReleaseObject(KORAObject object);

// Holds one host object reference and gives it back when it goes.
class ObjectRef {
 public:
  ObjectRef() = default;
  explicit ObjectRef(KORAObject object) : mObject(object) {}
  ObjectRef(const ObjectRef&) = delete;
  ObjectRef& operator=(const ObjectRef&) = delete;
  ~ObjectRef() { ReleaseObject(mObject); }

  KORAObject get() const { return mObject; }
  KORAObject* out() { return &mObject; }  // for services that write a reference
  // Gives the held reference back and holds `object` instead.
  void reset(KORAObject object = nullptr) {
    ReleaseObject(mObject);
    mObject = object;
  }
  // Hands the reference over to the caller.
  KORAObject release() {
    KORAObject object = mObject;
    mObject = nullptr;
    return object;
  }
  explicit operator bool() const { return mObject != nullptr; }

 private:
  KORAObject mObject = nullptr;
};

}  // namespace parvex::kora
