// The design-time entries of the host's database menu.
#include "host/design_time.h"

#include <memory>

#include "db/database.h"
#include "host/database_class.h"
#include "host/host_services.h"
#include "host/session_sentry.h"

namespace parvex::kora {

namespace {

constexpr const char* kFileType = "parvexdb";
constexpr const char* kDefaultFileName = "KoraDB.qhd";

constexpr const char* kGetSaveFolderItem =
    "GetSaveFolderItem(filter as String, defName as String) as FolderItem";
constexpr const char* kGetOpenFolderItem = "GetOpenFolderItem(filter as String) as FolderItem";
constexpr const char* kGetSaveInfo = "GetSaveInfo(base as FolderItem, mode as Integer=0) as String";
constexpr const char* kGetFolderItem = "GetFolderItem(saveInfo as String) as FolderItem";
constexpr const char* kGetRelative = "GetRelative(saveInfo as String) as FolderItem";

// Ends a choose or open entry with an error text for the host.
KORABoolean Fail(KORAText* error, const string& message) {
  if (error) *error = ReturnText(message);
  return 0;
}

// Stores the chosen file as save-info text: the result of both entries.
KORABoolean ReturnSaveInfo(KORAGetSaveInfoProc getSaveInfo, KORAObject item, KORAText* saveInfo,
                           KORAText* error) {
  const string info = FromHostText(getSaveInfo(item, 0));
  if (info.empty()) return Fail(error, "couldn't resolve save info");
  if (saveInfo) *saveInfo = ReturnText(info);
  return 1;
}

// "New KORA Database...": asks for a new file and creates an empty database in it.
KORABoolean NewDatabase(KORAText* saveInfo, KORAText* error) {
  SessionSentry sentry;
  // Everything is loaded before the dialog, so the user is never asked for
  // a file that can't then be used.
  const auto getSaveFolderItem = LoadGlobalMethod<KORAGetSaveFolderItemProc>(kGetSaveFolderItem);
  if (!getSaveFolderItem) return Fail(error, "couldn't load GetSaveFolderItem");
  const auto getSaveInfo = LoadGlobalMethod<KORAGetSaveInfoProc>(kGetSaveInfo);
  if (!getSaveInfo) return Fail(error, "couldn't load GetSaveInfo");

  ObjectRef item(getSaveFolderItem(HostTextView(kFileType), HostTextView(kDefaultFileName)));
  if (!item) return Fail(error, "user cancelled");
  KORAText pathText{};
  if (!Host().folderItemPath(item.get(), &pathText) || pathText.length <= 0) {
    return Fail(error, "couldn't extract FolderItemImp");
  }
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(FromHostText(pathText), true, &status));
  if (!db) return Fail(error, DescribeOpenFailure(status, true).message);
  db->Commit(&status);
  if (IsErrorState(status.State())) return Fail(error, status.Description());
  db.reset();
  return ReturnSaveInfo(getSaveInfo, item.get(), saveInfo, error);
}

// "Select KORA Database...": asks for an existing database file.
KORABoolean SelectDatabase(KORAText* saveInfo, KORAText* error) {
  SessionSentry sentry;
  const auto getOpenFolderItem = LoadGlobalMethod<KORAGetOpenFolderItemProc>(kGetOpenFolderItem);
  if (!getOpenFolderItem) return Fail(error, "couldn't load GetOpenFolderItem");
  const auto getSaveInfo = LoadGlobalMethod<KORAGetSaveInfoProc>(kGetSaveInfo);
  if (!getSaveInfo) return Fail(error, "couldn't load GetSaveInfo");

  ObjectRef item(getOpenFolderItem(HostTextView(kFileType)));
  if (!item) return Fail(error, "user cancelled");
  return ReturnSaveInfo(getSaveInfo, item.get(), saveInfo, error);
}

// Resolves save-info text back to the file (as stored, else relative to the
// project) and opens the database in it.
KORAObject GetParvexDatabase(KORAText saveInfo, KORAText* error) {
  SessionSentry sentry;
  const auto getFolderItem = LoadGlobalMethod<KORAGetFolderItemProc>(kGetFolderItem);
  if (!getFolderItem) {
    Fail(error, "couldn't load GetFolderItem");
    return nullptr;
  }
  ObjectRef item(getFolderItem(saveInfo));
  if (!item) {
    const auto getRelative = LoadGlobalMethod<KORAGetFolderItemProc>(kGetRelative);
    if (!getRelative) {
      Fail(error, "couldn't load getRelative");
      return nullptr;
    }
    item.reset(getRelative(saveInfo));
  }
  if (!item) {
    Fail(error, "couldn't resolve save info");
    return nullptr;
  }
  ObjectRef db(ConstructDatabaseObject());
  if (!db) {
    Fail(error, string("couldn't construct ") + kDatabaseClassName);
    return nullptr;
  }
  KORAObject file = item.get();
  if (!Host().setPropValue(db.get(), "DatabaseFile", &file)) {
    Fail(error, "couldn't set DatabaseFile");
    return nullptr;
  }
  OpenFailure failure;
  if (!CreateOrConnect(db.get(), false, &failure)) {
    Fail(error, failure.message.empty() ? string("couldn't open the database") : failure.message);
    return nullptr;
  }
  return db.release();
}

const KORADataSourceEntry kEntries[] = {
    {"New KORA Database...", NewDatabase, GetParvexDatabase},
    {"Select KORA Database...", SelectDatabase, GetParvexDatabase},
};

}  // namespace

const KORADataSourceEntry* DataSourceEntries(size_t* count) {
  *count = sizeof kEntries / sizeof kEntries[0];
  return kEntries;
}

}  // namespace parvex::kora
