// The "KORADatabase" class: create-or-connect and the five methods.
#include "host/database_class.h"

#include <memory>

#include "db/database.h"
#include "host/engine.h"
#include "host/host_services.h"
#include "host/session_sentry.h"

namespace parvex::kora {

namespace {

constexpr const char* kDatabaseFileProperty = "DatabaseFile";

void ReportFailure(KORAObject self, const OpenFailure& failure) {
  if (!failure.message.empty()) {
    ReportDBError(self, failure.state ? failure.state : kBindingErrorState, failure.message);
  }
}

// Reports a refused status through the host's error mechanism; warnings and
// "no data" are not failures.
void ReportStatus(KORAObject self, const ParvexStatus& status) {
  if (IsErrorState(status.State())) ReportDBError(self, status.State(), status.Description());
}

void ReportNotConnected(KORAObject self, const char* method) {
  ReportDBError(self, kBindingErrorState, string(method) + ": database not connected");
}

// ---- methods ----------------------------------------------------------------

// Connect and CreateDatabaseFile: create-or-connect, telling the host why
// it failed.
KORABoolean OpenForHost(KORAObject self, bool create) {
  OpenFailure failure;
  if (CreateOrConnect(self, create, &failure)) return 1;
  ReportFailure(self, failure);
  return 0;
}

KORABoolean Connect(KORAObject self) {
  SessionSentry sentry;
  return OpenForHost(self, false);
}

KORABoolean CreateDatabaseFile(KORAObject self) {
  SessionSentry sentry;
  return OpenForHost(self, true);
}

int32_t LastRowID(KORAObject self, KORAText tableName) {
  SessionSentry sentry;
  ParvexDatabase* db = OpenDatabaseOf(self);
  if (!db) return 0;
  const ParvexTable* table = db->FindTable(FromHostText(tableName));
  return table ? static_cast<int32_t>(table->lastRowID) : 0;
}

KORAText GetSchemaData(KORAObject self) {
  SessionSentry sentry;
  ParvexDatabase* db = OpenDatabaseOf(self);
  if (!db) {
    ReportNotConnected(self, "GetSchemaData");
    return ReturnText(string());
  }
  ParvexStatus status;
  const string data = db->GetSchemaData(&status);
  ReportStatus(self, status);
  return ReturnText(data);
}

void ReplaceSchemaData(KORAObject self, KORAText newSchema) {
  SessionSentry sentry;
  ParvexDatabase* db = OpenDatabaseOf(self);
  if (!db) {
    ReportNotConnected(self, "ReplaceSchemaData");
    return;
  }
  ParvexStatus status;
  db->ReplaceSchemaData(FromHostText(newSchema), &status);
  ReportStatus(self, status);
}

KORAObject Construct() {
  SessionSentry sentry;
  return ConstructDatabaseObject();
}

template <typename Function>
KORAFunction AsHostFunction(Function function) {
  return reinterpret_cast<KORAFunction>(function);
}

const KORAPropertyDefinition kProperties[] = {
    {kDatabaseFileProperty, "FolderItem"},
};

const KORAMethodDefinition kMethods[] = {
    {AsHostFunction(Connect), "Connect() As Boolean"},
    {AsHostFunction(CreateDatabaseFile), "CreateDatabaseFile() As Boolean"},
    {AsHostFunction(LastRowID), "LastRowID(tableName as String) As Integer"},
    {AsHostFunction(GetSchemaData), "GetSchemaData() As String"},
    {AsHostFunction(ReplaceSchemaData), "ReplaceSchemaData(newSchema As String)"},
};

const KORAClassDefinition kClassDefinition = {
    kDatabaseClassName,
    "Database",
    static_cast<int32_t>(sizeof(DatabaseObjectData)),
    kProperties,
    static_cast<int32_t>(sizeof kProperties / sizeof kProperties[0]),
    kMethods,
    static_cast<int32_t>(sizeof kMethods / sizeof kMethods[0]),
    Construct,
};

}  // namespace

DatabaseObjectData* ObjectData(KORAObject dbObject) {
  if (!dbObject) return nullptr;
  return static_cast<DatabaseObjectData*>(Host().getDBFromKORAdbDatabase(dbObject));
}

ParvexDatabase* OpenDatabaseOf(KORAObject dbObject) {
  DatabaseObjectData* data = ObjectData(dbObject);
  return data ? data->database : nullptr;
}

bool CreateOrConnect(KORAObject dbObject, bool create, OpenFailure* failure) {
  OpenFailure ignored;
  if (!failure) failure = &ignored;
  DatabaseObjectData* data = ObjectData(dbObject);
  if (!data) return false;
  if (data->database) return true;

  ObjectRef file;
  if (!Host().getPropValue(dbObject, kDatabaseFileProperty, file.out()) || !file) {
    failure->message = "DatabaseFile is not set";
    return false;
  }
  KORAText pathText{};
  if (!Host().folderItemPath(file.get(), &pathText) || pathText.length <= 0) {
    failure->message = "couldn't extract FolderItemImp";
    return false;
  }
  const string path = FromHostText(pathText);

  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(path, create, &status));
  if (!db) {
    *failure = DescribeOpenFailure(status, create);
    return false;
  }
  data->database = db.release();
  Host().setDBIsConnected(dbObject, 1);
  return true;
}

// ParvexOpenDatabase reports a host file it could not open or create with
// kPXInvalidParameter, a file that holds no usable volume with
// kPXDataException, and a volume without a database in it with
// kPXTableNotFound. The host sees the binding's words for the first two,
// followed by the engine's description, which names the file and the cause.
OpenFailure DescribeOpenFailure(const ParvexStatus& status, bool create) {
  OpenFailure failure;
  failure.state = status.State();
  const string detail = status.Description();
  const char* words = nullptr;
  if (status.State() == kPXInvalidParameter) {
    words = create ? "unable to create file for virtual volume"
                   : "unable to open file for virtual volume";
  } else if (status.State() == kPXDataException) {
    words = "unable to access virtual volume";
  }
  if (!IsErrorState(status.State()) || detail.empty()) {
    failure.state = kBindingErrorState;
    failure.message = words ? words : "unable to access database folder";
  } else if (!words) {
    failure.message = detail;
  } else {
    failure.message = string(words) + ": " + detail.view();
  }
  return failure;
}

KORAObject ConstructDatabaseObject() {
  KORAClassRef classData = Host().getClassData(kDatabaseClassName);
  if (!classData) return nullptr;
  return Host().constructDBDatabase(classData, &EngineTable());
}

const KORAClassDefinition& DatabaseClassDefinition() { return kClassDefinition; }

}  // namespace parvex::kora
