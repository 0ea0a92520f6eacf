// The simulated KORA host's state: what plug-ins registered, the live
// objects (class instances, database objects, FolderItems), the cursors the
// engines handed out, the scripted dialog answers and the errors reported.
//
// The host checks the plug-in's side of the contract as it goes: objects are
// reference counted and a call with a released object is a violation, texts
// the host returns are freed at the plug-in's next call into the host (so a
// plug-in that keeps one is caught by the address sanitizer), and, when the
// plug-in exports ParvexSessionDepth, every service call must arrive inside an
// entry point and every entry point must have returned when the host regains
// control. Violations are printed as "!! violation: ..." and make the run fail.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "kora/kora_plugin.h"
#include "method_call.h"

namespace kora_host {

struct HostObject;

// A property value: nothing (nil), an object reference, a text, an integer.
using PropertyValue = std::variant<std::monostate, HostObject*, std::string, int32_t>;

struct RegisteredClass {
  const KORAClassDefinition* definition = nullptr;
  std::string name;
  std::string superName;
  std::vector<PropertyDecl> properties;
  std::vector<MethodDecl> methods;  // in declaration order
};

struct HostObject {
  std::string className;  // "FolderItem" or a registered class's name
  std::string label;      // the script name it was first bound to
  int refs = 1;
  const RegisteredClass* cls = nullptr;

  // FolderItem: the host file (absolute), empty for an item without a file.
  std::string path;

  // Instances of registered classes.
  std::vector<unsigned char> data;  // per-object data
  std::map<std::string, PropertyValue> properties;

  // Database objects.
  const KORADatabaseEngine* engine = nullptr;
  bool connected = false;
  bool hasError = false;
  std::string errorCode;
  std::string errorMessage;
};

struct HostCursor {
  const KORADBCursorDefinition* definition = nullptr;
  void* data = nullptr;
  HostObject* database = nullptr;  // the database whose engine made it (a held reference)
  bool closed = false;
};

// One scripted answer for the next file dialog.
struct DialogAnswer {
  enum Kind { kSave, kOpen, kCancel } kind = kCancel;
  std::string path;
};

struct ReportedError {
  std::string object;  // its label when it was reported
  std::string code;
  std::string message;
};

class HostWorld {
 public:
  static HostWorld& Get();

  // ---- setup
  void SetWorkFolder(const std::string& folder) { mWorkFolder = folder; }
  const std::string& WorkFolder() const { return mWorkFolder; }
  // Absolute path of a script path (relative ones live in the work folder).
  std::string ResolvePath(const std::string& path) const;
  // A text with the work folder shown as $WORK (for stable output).
  std::string ShowPaths(const std::string& text) const;

  // ---- objects
  HostObject* NewObject(const std::string& className);
  HostObject* NewFolderItem(const std::string& absolutePath);
  bool IsLive(const HostObject* object) const;
  void AddRef(HostObject* object);
  void Release(HostObject* object);
  size_t LiveObjects() const { return mObjects.size(); }
  // A live object from a plug-in handle, or null after reporting a violation.
  HostObject* Checked(KORAObject handle, const char* service);
  std::string LabelOf(const HostObject* object) const;

  // ---- registrations
  std::vector<std::unique_ptr<RegisteredClass>> classes;
  std::vector<const KORADatabaseEngine*> engines;
  std::vector<const KORADBCursorDefinition*> cursorTypes;
  std::vector<const KORADataSourceEntry*> dataSources;
  std::vector<std::string> registrationLog;  // in call order
  const RegisteredClass* FindClass(const std::string& name) const;

  // ---- cursors
  KORADBCursor NewCursor(const KORADBCursorDefinition* definition, void* data);
  HostCursor* CursorOf(KORADBCursor handle) const;
  void CloseCursor(HostCursor* cursor);
  void CloseAllCursors();

  // ---- the call in progress: the database it concerns and its errors
  void BeginCall(HostObject* database);
  std::vector<ReportedError> EndCall();
  HostObject* CallDatabase() const { return mCallDatabase; }
  void ReportError(HostObject* object, const std::string& code, const std::string& message);

  // ---- texts returned to the plug-in (valid until its next host call)
  KORAText ReturnText(const std::string& text);
  void ExpireReturnedText() { mReturned.reset(); }

  // ---- dialogs and global methods
  std::deque<DialogAnswer> dialogAnswers;
  std::vector<std::string> withheldMethods;  // names whose loading fails
  std::vector<std::string> dialogLog;        // printed after the call

  // ---- contract checks
  using DepthProc = int (*)(void);
  DepthProc sessionDepth = nullptr;
  bool insidePlugin = false;  // a call into the plug-in is in progress
  void Violation(const std::string& what);
  // Checks, at a service's entry, that the plug-in is inside an entry point;
  // also expires the previously returned text.
  void ServiceEntered(const char* service);
  // Checks after a call into the plug-in that every entry point returned.
  void CheckBalanced(const std::string& call);
  int violations = 0;

 private:
  HostWorld() = default;
  void Destroy(HostObject* object);

  std::string mWorkFolder;
  std::unordered_map<const HostObject*, std::unique_ptr<HostObject>> mObjects;
  std::vector<std::unique_ptr<HostCursor>> mCursors;  // in creation order
  std::unordered_map<const void*, HostCursor*> mCursorsByHandle;
  HostObject* mCallDatabase = nullptr;
  std::vector<ReportedError> mCallErrors;
  std::unique_ptr<std::string> mReturned;
};

// The resolver handed to plug-ins.
KORAFunction ResolveService(const char* name);

// Text helpers shared by the host's pieces.
KORAText TextView(const std::string& text);
std::string FromText(const KORAText& text);

}  // namespace kora_host
