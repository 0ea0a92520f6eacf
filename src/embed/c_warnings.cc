// The C interface's warnings about the dialect's traps (see
// sql/statement_warnings.h), kept in the database handle until the next
// parvex_warnings call.
#include "embed/handles.h"
#include "parvex/parvex.h"

using namespace parvex;
using namespace parvex::embed;

namespace {

const StatementWarning* WarningAt(const parvex_db* db, int warning) {
  if (!db || warning < 0 || static_cast<size_t>(warning) >= db->warnings.list.size()) return nullptr;
  return &db->warnings.list[static_cast<size_t>(warning)];
}

}  // namespace

extern "C" {

int parvex_warnings(parvex_db* db, const char* sql) {
  if (!db) return -1;
  db->warnings = StatementWarnings();
  ParvexDatabase* database = db->Usable();
  if (!database) return -1;
  try {
    db->warnings = FindStatementWarnings(Utf8(sql), *database);
    db->Succeed();
    return static_cast<int>(db->warnings.list.size());
  } catch (...) {
    db->warnings = StatementWarnings();
    db->Fail(kPXProgramLimitExceeded, "Error: Out of memory.");
    return -1;
  }
}

const char* parvex_warnings_sql(parvex_db* db) { return db ? db->warnings.ran.c_str() : nullptr; }

int parvex_warning_kind(parvex_db* db, int warning) {
  const StatementWarning* found = WarningAt(db, warning);
  return found ? static_cast<int>(found->kind) : 0;
}

const char* parvex_warning_message(parvex_db* db, int warning) {
  const StatementWarning* found = WarningAt(db, warning);
  return found ? found->message.c_str() : nullptr;
}

const char* parvex_warning_hint(parvex_db* db, int warning) {
  const StatementWarning* found = WarningAt(db, warning);
  return found ? found->hint.c_str() : nullptr;
}

}  // extern "C"
