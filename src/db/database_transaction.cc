// ParvexDatabase: the transaction boundary and the schema data exchange.
//
// Commit writes every table's pending changes, deletes the storage of the
// tables dropped since the last commit and flushes the volume, so a database
// closed and reopened sees everything committed. Rollback discards every
// pending change and rebuilds the open tables from the rolled-back schema
// rows (tables created in the transaction vanish, dropped ones return,
// altered ones get their old columns). Schema data is "SCHEMADA" followed by
// the raw bytes of the schema table's data file. A commit is refused as a
// whole while a damaged table holds changes.
#include <memory>

#include "db/database.h"
#include "db/schema.h"
#include "storage/file_access.h"
#include "storage/trans.h"

namespace parvex {

namespace {

constexpr std::string_view kSchemaDataTag = "SCHEMADA";

string SchemaFileName() { return string(kSchemaTableName) + kDataFileSuffix; }

}  // namespace

void ParvexDatabase::Commit() {
  // One damaged table with changes refuses the whole commit, so that no
  // part of the transaction is written without the rest.
  if (FindDamagedChanges(nullptr)) return;
  mCreatedTables.clear();
  for (ParvexTable* table : tables) {
    if (auto* trans = dynamic_cast<ParvexTrans*>(table)) trans->Commit();
  }
  for (ParvexTable* table : droppedTables) {
    if (auto* trans = dynamic_cast<ParvexTrans*>(table)) trans->DeleteStorage();
  }
  DeleteAll(droppedTables);
  droppedTables.Release();
  if (fileAccess) fileAccess->Flush();
}

void ParvexDatabase::Rollback() {
  for (ParvexTable* table : droppedTables) tables.push_back(table);
  droppedTables.Release();
  for (ParvexTable* table : tables) {
    if (auto* trans = dynamic_cast<ParvexTrans*>(table)) trans->Rollback();
  }
  if (tables.empty()) return;
  ParvexTable* schemaTable = tables[0];
  for (size_t i = tables.size(); i > 1; --i) delete tables[i - 1];
  tables.clear();
  tables.push_back(schemaTable);
  if (auto* schema = dynamic_cast<ParvexSchema*>(schemaTable)) schema->LoadAllTables(tables);
  // Tables created in the transaction are gone from the schema; their files
  // (made when they were created) go too.
  for (const string& created : mCreatedTables) {
    if (FindTable(created) || !fileAccess) continue;
    fileAccess->DeleteFile(created + kDataFileSuffix);
    fileAccess->DeleteFile(created + kMapFileSuffix);
  }
  mCreatedTables.clear();
}

bool ParvexDatabase::FindDamagedChanges(ParvexStatus* status) const {
  for (const ParvexTable* table : tables) {
    const auto* trans = dynamic_cast<const ParvexTrans*>(table);
    if (trans && trans->IsDamaged() && trans->HasChangesToCommit()) {
      if (status) *status = trans->DamageStatus();
      return true;
    }
  }
  return false;
}

bool ParvexDatabase::TakeDamageNotice(ParvexStatus* status) const {
  bool found = false;
  for (const SimpleVector<ParvexTable*>* list : {&tables, &droppedTables}) {
    for (const ParvexTable* table : *list) {
      if (!table || !table->TakeDamageNotice() || found) continue;
      found = true;
      if (status) *status = table->DamageStatus();
    }
  }
  return found;
}

void ParvexDatabase::NoteTableCreated(const string& tableName) { mCreatedTables.push_back(tableName); }

bool ParvexDatabase::TransactionInProgress() const {
  if (!droppedTables.empty()) return true;
  for (const ParvexTable* table : tables) {
    const auto* trans = dynamic_cast<const ParvexTrans*>(table);
    if (trans && trans->HasChangesToCommit()) return true;
  }
  return false;
}

string ParvexDatabase::GetSchemaData(ParvexStatus* status) {
  if (tables.empty() || !tables[0]) {
    SetStatus(status, kPXTableNotFound, string("Schema table not found."));
    return string();
  }
  if (TransactionInProgress()) {
    SetStatus(status, kPXTransactionInProgress, string("Can't get schema data while transaction is in progress."));
    return string();
  }
  if (!fileAccess) {
    SetStatus(status, kPXTableNotFound, string("Data files not available."));
    return string();
  }
  auto file = fileAccess->OpenFile(SchemaFileName(), false, true);
  const int32_t length = file ? file->GetLength() : -1;
  if (!file || length < 0 || !file->SeekFromStart(0)) {
    SetStatus(status, kPXTableNotFound, string("Schema file not found."));
    return string();
  }
  std::string bytes(kSchemaDataTag);
  bytes.resize(kSchemaDataTag.size() + static_cast<size_t>(length));
  int32_t got = 0;
  if (length > 0 && (!file->ReadData(bytes.data() + kSchemaDataTag.size(), length, &got) || got != length)) {
    SetStatus(status, kPXTableNotFound, string("Schema file not found."));
    return string();
  }
  file->Close();
  SetStatus(status, kPXStateSuccess);
  return string(bytes.data(), bytes.size(), kEncodingDefault);
}

void ParvexDatabase::ReplaceSchemaData(const string& data, ParvexStatus* status) {
  if (TransactionInProgress()) {
    SetStatus(status, kPXTransactionInProgress, string("Can't replace schema while transaction is in progress."));
    return;
  }
  if (data.length() < kSchemaDataTag.size() ||
      CompareNoCase(data.view().substr(0, kSchemaDataTag.size()), kSchemaDataTag) != 0) {
    SetStatus(status, kPXInvalidParameter, string("Invalid schema data."));
    return;
  }
  if (!fileAccess) {
    SetStatus(status, kPXTableNotFound, string("Data files not available."));
    return;
  }
  SetStatus(status, kPXStateSuccess);
  for (size_t i = tables.size(); i > 0; --i) delete tables[i - 1];
  tables.clear();
  // The tables' streams are closed now; the schema file gets the new bytes.
  auto file = fileAccess->OpenFile(SchemaFileName(), true, false);
  const auto length = static_cast<int32_t>(data.length() - kSchemaDataTag.size());
  if (!file || !file->SeekFromStart(0) ||
      (length > 0 && !file->WriteData(data.data() + kSchemaDataTag.size(), length)) || !file->SetLength(length) ||
      !file->Close()) {
    SetStatus(status, kPXTableNotFound, string("Unable to write schema file."));
  }
  file.reset();
  // The map file belongs to the old rows: the new schema rebuilds it by scanning.
  fileAccess->DeleteFile(string(kSchemaTableName) + kMapFileSuffix);
  auto* schema = new ParvexSchema(fileAccess);
  tables.push_back(schema);
  // The new schema's tables see whatever data files of their names exist.
  schema->LoadAllTables(tables, ParvexTrans::MissingFiles::kCreate);
  fileAccess->Flush();
}

}  // namespace parvex
