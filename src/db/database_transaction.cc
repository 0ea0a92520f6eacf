// ParvexDatabase: the transaction boundary and the schema data exchange.
//
// Commit writes every table's pending changes, deletes the storage of the
// tables dropped since the last commit and commits the host file, which
// makes all of it durable at once. When any of that fails, the host file is
// rolled back and the tables are loaded again from it, so the database is
// exactly as last committed. Rollback discards every pending change and
// rebuilds the open tables from the rolled-back schema rows (tables created
// in the transaction vanish, dropped ones return, altered ones get their old
// columns); when the host file was written since the last commit it is
// restored and every table is loaded again. Schema data is "SCHEMADA"
// followed by the raw bytes of the schema table's data file. While a damaged
// table holds changes, a commit is refused as a whole (and rolled back, as a
// failed commit is).
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

bool ParvexDatabase::ReadOnly() const { return fileAccess && fileAccess->ReadOnly(); }

void ParvexDatabase::Commit(ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  if (!CheckUsable(status)) return;
  if (ReadOnly()) {
    if (TransactionInProgress()) {
      RollbackInMemory();
      status->Set(kPXReadOnlyDatabase, string("Error: The database is open read-only; nothing was committed."));
      return;
    }
    status->Set(kPXStateSuccess);
    return;
  }
  // Nothing is written over damage, and no part of a transaction without the rest.
  if (FindDamagedChanges(status)) {
    ParvexStatus ignored;
    Rollback(&ignored);
    return;
  }
  string failedTable;
  for (ParvexTable* table : tables) {
    auto* trans = dynamic_cast<ParvexTrans*>(table);
    if (trans && !trans->Commit()) {
      failedTable = trans->name;
      break;
    }
  }
  if (failedTable.empty()) {
    for (ParvexTable* table : droppedTables) {
      if (auto* trans = dynamic_cast<ParvexTrans*>(table)) trans->DeleteStorage();
    }
    DeleteAll(droppedTables);
    droppedTables.Release();
  }
  HostFileFailure failure;
  if (failedTable.empty() && (!fileAccess || fileAccess->Commit(&failure))) {
    status->Set(kPXStateSuccess);
    return;
  }
  // Nothing reached the commit point: back to the file as last committed.
  if (!failure.Failed() && fileAccess && fileAccess->HostFile()) failure = fileAccess->HostFile()->TransactionFailure();
  ParvexStatus restore;
  const bool restored = ReloadFromFile(&restore);
  const char* consequence = restored ? "nothing was committed"
                                     : "nothing was committed, but the file is not restored yet: every statement "
                                       "tries again, and the next open restores it";
  if (failure.Failed()) {
    *status = HostFailureStatus(failure, "committing", consequence);
  } else {
    status->Set(kPXIOError, string("Error: Writing table ") + failedTable.view() + " failed while committing; " +
                                consequence + ".");
  }
}

void ParvexDatabase::Rollback(ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  status->Set(kPXStateSuccess);
  if (mNeedsReload || (fileAccess && fileAccess->InTransaction())) {
    ReloadFromFile(status);
    return;
  }
  RollbackInMemory();
}

void ParvexDatabase::RollbackInMemory() {
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
  SettleLoadingWrites();
}

bool ParvexDatabase::ReloadFromFile(ParvexStatus* status) {
  if (!fileAccess) return true;
  // Whatever the tables write as they go is undone with the rest.
  fileAccess->DiscardWrites();
  for (size_t i = tables.size(); i > 1; --i) delete tables[i - 1];
  DeleteAll(droppedTables);
  droppedTables.Release();
  // The schema object stays for the database's life; only its files are
  // let go and opened again.
  ParvexTable* schemaTable = tables.empty() ? nullptr : tables[0];
  tables.clear();
  auto* schema = dynamic_cast<ParvexSchema*>(schemaTable);
  if (schema) {
    tables.push_back(schema);
    schema->CloseStorage();
  }
  HostFileFailure failure;
  if (!fileAccess->Rollback(&failure)) {
    mNeedsReload = true;
    if (status) {
      *status = HostFailureStatus(failure, "rolling back",
                                  "the database can't be used until the file is restored; every statement tries "
                                  "again, and the next open restores it");
    }
    return false;
  }
  if (!schema || !schema->ReopenStorage()) {
    mNeedsReload = true;
    SetStatus(status, kPXIOError, string("Error: The schema can't be read after rolling back; try again."));
    return false;
  }
  schema->LoadAllTables(tables);
  mNeedsReload = false;
  SettleLoadingWrites();
  return true;
}

void ParvexDatabase::SettleLoadingWrites() {
  // Loading tables may repair what it finds (a missing file made, a damaged
  // map rebuilt); those writes are committed on their own, as an open's are.
  if (!fileAccess || ReadOnly() || !fileAccess->InTransaction()) return;
  for (const ParvexTable* table : tables) {
    const auto* trans = dynamic_cast<const ParvexTrans*>(table);
    if (trans && trans->HasChangesToCommit()) return;
  }
  HostFileFailure ignored;
  if (!fileAccess->Commit(&ignored)) fileAccess->Rollback(&ignored);
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

bool ParvexDatabase::CheckUsable(ParvexStatus* status) {
  if (!mNeedsReload) return true;
  return ReloadFromFile(status);
}

bool ParvexDatabase::TransactionInProgress() const {
  if (!droppedTables.empty()) return true;
  if (fileAccess && fileAccess->InTransaction()) return true;
  for (const ParvexTable* table : tables) {
    const auto* trans = dynamic_cast<const ParvexTrans*>(table);
    if (trans && trans->HasChangesToCommit()) return true;
  }
  return false;
}

string ParvexDatabase::GetSchemaData(ParvexStatus* status) {
  if (!CheckUsable(status)) return string();
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
  if (!CheckUsable(status)) return;
  if (ReadOnly()) {
    SetStatus(status, kPXReadOnlyDatabase);
    return;
  }
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
  schema->LoadAllTables(tables);
  // The replacement is one transaction of its own: all of it or none.
  ParvexStatus ignored;
  if (status && IsErrorState(status->State())) {
    ReloadFromFile(&ignored);
    return;
  }
  HostFileFailure failure;
  if (!fileAccess->Commit(&failure)) {
    ReloadFromFile(&ignored);
    if (status) *status = HostFailureStatus(failure, "replacing the schema", "the schema was not replaced");
  }
}

}  // namespace parvex
