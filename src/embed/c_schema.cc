// The C interface: the tables, columns and indexes of an open database, and
// the check and recovery of database files with their reports.
#include <new>
#include <string>
#include <vector>

#include "core/check_report.h"
#include "db/integrity_check.h"
#include "db/recover.h"
#include "embed/handles.h"
#include "parvex/parvex.h"
#include "query/sql_literal.h"
#include "sql/binder.h"
#include "sql/sql_dialect.h"
#include "storage/index.h"
#include "storage/trans.h"

using namespace parvex;
using namespace parvex::embed;

struct parvex_report {
  std::vector<std::string> lines;
  std::string summary;
  bool clean = false;
  std::string sqlstate = "00000";
  std::string message;
};

namespace {

// The user table called `name`; null (with the error recorded) when none.
const ParvexTable* UserTable(parvex_db* db, const char* name) {
  if (!db || !db->Usable()) return nullptr;
  ParvexStatus status;
  const ParvexTable* table = BindTable(*db->database, Utf8(name), &status);
  db->Report(status);
  return table;
}

// The user column at `column` (0-based; `_rowid` is not counted).
const ParvexColumnInfo* UserColumn(parvex_db* db, const char* table, int column) {
  const ParvexTable* found = UserTable(db, table);
  return found && column >= 0 ? found->Column(column + 1) : nullptr;
}

// The stored table's index at position `index` of its index list.
const ParvexIndex* IndexAt(parvex_db* db, const char* table, int index, const ParvexTrans** owner) {
  const auto* stored = dynamic_cast<const ParvexTrans*>(UserTable(db, table));
  if (!stored || index < 0) return nullptr;
  SimpleVector<string> names;
  stored->GetIndexNames(&names);
  if (static_cast<size_t>(index) >= names.size()) return nullptr;
  *owner = stored;
  return stored->FindIndex(names[static_cast<size_t>(index)]);
}

parvex_report* NewReport(parvex_report** out) {
  if (!out) return nullptr;
  *out = new (std::nothrow) parvex_report;
  return *out;
}

int Finish(parvex_report* report, bool ran, const ParvexStatus& status) {
  if (ran) return PARVEX_OK;
  report->sqlstate = status.Code();
  report->message = status.Description().str();
  return PARVEX_ERROR;
}

int FinishCheck(parvex_report* report, bool ran, const CheckReport& check, const ParvexStatus& status,
                const std::string& name) {
  report->lines = check.problems;
  if (check.problemCount > check.problems.size()) {
    report->lines.push_back("... and " + std::to_string(check.problemCount - check.problems.size()) +
                            " more problems");
  }
  for (const std::string& note : check.notes) report->lines.push_back("note: " + note);
  report->clean = ran && check.Clean();
  if (ran) report->summary = check.Summary(name);
  return Finish(report, ran, status);
}

}  // namespace

extern "C" {

int parvex_table_count(parvex_db* db) {
  if (!db || !db->database) return 0;
  return static_cast<int>(db->database->tables.size()) - 1;
}

const char* parvex_table_name(parvex_db* db, int table) {
  if (!db || !db->database || table < 0 || static_cast<size_t>(table) + 1 >= db->database->tables.size()) {
    return nullptr;
  }
  return db->database->tables[static_cast<size_t>(table) + 1]->name.c_str();
}

int parvex_table_column_count(parvex_db* db, const char* table) {
  const ParvexTable* found = UserTable(db, table);
  return found ? static_cast<int>(found->QtyColumns()) - 1 : -1;
}

const char* parvex_table_column_name(parvex_db* db, const char* table, int column) {
  const ParvexColumnInfo* info = UserColumn(db, table, column);
  return info ? info->name.c_str() : nullptr;
}

int parvex_table_column_type(parvex_db* db, const char* table, int column) {
  const ParvexColumnInfo* info = UserColumn(db, table, column);
  return info ? info->Type() : PARVEX_TYPE_NULL;
}

const char* parvex_type_name(int type) {
  return type >= 0 && type <= 255 ? TypeName(static_cast<ParvexDataType>(type)) : nullptr;
}

const char* parvex_table_column_default(parvex_db* db, const char* table, int column) {
  const ParvexColumnInfo* info = UserColumn(db, table, column);
  if (!info || info->defaultValue.IsNull()) return nullptr;
  return Hold(&db->scratch, SqlLiteral(info->defaultValue).view());
}

int parvex_index_count(parvex_db* db, const char* table) {
  const ParvexTable* found = UserTable(db, table);
  if (!found) return -1;
  SimpleVector<string> names;
  found->GetIndexNames(&names);
  return static_cast<int>(names.size());
}

const char* parvex_index_name(parvex_db* db, const char* table, int index) {
  const ParvexTrans* owner = nullptr;
  const ParvexIndex* found = IndexAt(db, table, index, &owner);
  return found ? found->Name().c_str() : nullptr;
}

int parvex_index_column_count(parvex_db* db, const char* table, int index) {
  const ParvexTrans* owner = nullptr;
  const ParvexIndex* found = IndexAt(db, table, index, &owner);
  return found ? static_cast<int>(found->GetColumnIDs().size()) : -1;
}

const char* parvex_index_column_name(parvex_db* db, const char* table, int index, int column) {
  const ParvexTrans* owner = nullptr;
  const ParvexIndex* found = IndexAt(db, table, index, &owner);
  if (!found || column < 0 || static_cast<size_t>(column) >= found->GetColumnIDs().size()) return nullptr;
  const long id = static_cast<long>(found->GetColumnIDs()[static_cast<size_t>(column)]);
  const ParvexColumnInfo* info = owner->Column(owner->ColumnIndexOfID(id));
  return info ? info->name.c_str() : nullptr;
}

int parvex_check_file(const char* path, parvex_report** report) {
  parvex_report* out = NewReport(report);
  if (!out) return PARVEX_ERROR;
  try {
    CheckReport check;
    ParvexStatus status;
    const bool ran = ParvexCheckDatabase(Utf8(path), &check, &status);
    return FinishCheck(out, ran, check, status, path ? path : "");
  } catch (...) {
    return Finish(out, false, ParvexStatus(kPXProgramLimitExceeded, string("Error: Out of memory.")));
  }
}

int parvex_check_db(parvex_db* db, parvex_report** report) {
  parvex_report* out = NewReport(report);
  if (!out) return PARVEX_ERROR;
  if (!db || !db->database) {
    return Finish(out, false, ParvexStatus(kPXDynamicSQLError, string("Error: The database is not open.")));
  }
  try {
    CheckReport check;
    ParvexStatus status;
    const bool ran = ParvexCheckDatabase(*db->database, &check, &status);
    return FinishCheck(out, ran, check, status, db->path);
  } catch (...) {
    return Finish(out, false, ParvexStatus(kPXProgramLimitExceeded, string("Error: Out of memory.")));
  }
}

int parvex_recover_file(const char* from, const char* to, parvex_report** report) {
  parvex_report* out = NewReport(report);
  if (!out) return PARVEX_ERROR;
  try {
    RecoverReport recovered;
    ParvexStatus status;
    const bool ran = ParvexRecoverDatabase(Utf8(from), Utf8(to), &recovered, &status);
    out->lines = recovered.lines;
    out->clean = ran && recovered.Complete();
    if (ran) out->summary = recovered.Summary(to ? to : "");
    return Finish(out, ran, status);
  } catch (...) {
    return Finish(out, false, ParvexStatus(kPXProgramLimitExceeded, string("Error: Out of memory.")));
  }
}

int parvex_report_clean(const parvex_report* report) { return report && report->clean; }

size_t parvex_report_line_count(const parvex_report* report) { return report ? report->lines.size() : 0; }

const char* parvex_report_line(const parvex_report* report, size_t line) {
  return report && line < report->lines.size() ? report->lines[line].c_str() : nullptr;
}

const char* parvex_report_summary(const parvex_report* report) { return report ? report->summary.c_str() : nullptr; }

const char* parvex_report_sqlstate(const parvex_report* report) { return report ? report->sqlstate.c_str() : nullptr; }

const char* parvex_report_errmsg(const parvex_report* report) { return report ? report->message.c_str() : nullptr; }

void parvex_report_free(parvex_report* report) { delete report; }

}  // extern "C"
