// State constants and their standard messages.
#include "core/status.h"

#include <cstring>

namespace parvex {

namespace {

struct StateEntry {
  const char* code;
  const char* message;
};

// In the order Description() searches them.
constexpr StateEntry kStates[] = {
    {"00000", "Success"},
    {"01004", "Warning: String truncated on right."},
    {"01S09", "Warning: Invalid SQL keyword."},
    {"02000", "No records found."},
    {"07000", "Error: Dynamic SQL error."},
    {"42S01", "Error: Table already exists."},
    {"42S02", "Error: Table not found."},
    {"42S11", "Error: Index already exists."},
    {"42S12", "Error: Index not found."},
    {"42S21", "Error: Column already exists."},
    {"42S22", "Error: Column not found."},
    {"21S01", "Error: Insert value list does not match column list."},
    {"22000", "Error: Data exception."},
    {"22023", "Error: Invalid parameter."},
    {"23000", "Error: Integrity constraint violation."},
    {"25000", "Error: Invalid transaction state."},
    {"25S02", "Error: Transaction in progress."},
    {"0A000", "Error: Unsupported SQL feature."},
    {"72000", "Error: Internal SQL processor error."},
    {"25006", "Error: The database is open read-only."},
    {"53100", "Error: Disk full."},
    {"54000", "Error: Program limit exceeded."},
    {"55006", "Error: The database is locked by another process."},
    {"58030", "Error: Input/output error."},
    {"XX001", "Error: Database file is damaged."},
};

}  // namespace

const ParvexState kPXStateSuccess = kStates[0].code;
const ParvexState kPXWarnStringRightTruncated = kStates[1].code;
const ParvexState kPXWarnInvalidKeyword = kStates[2].code;
const ParvexState kPXStateNoData = kStates[3].code;
const ParvexState kPXDynamicSQLError = kStates[4].code;
const ParvexState kPXTableAlreadyExists = kStates[5].code;
const ParvexState kPXTableNotFound = kStates[6].code;
const ParvexState kPXIndexAlreadyExists = kStates[7].code;
const ParvexState kPXIndexNotFound = kStates[8].code;
const ParvexState kPXColumnAlreadyExists = kStates[9].code;
const ParvexState kPXColumnNotFound = kStates[10].code;
const ParvexState kPXInsertValuesMismatch = kStates[11].code;
const ParvexState kPXDataException = kStates[12].code;
const ParvexState kPXInvalidParameter = kStates[13].code;
const ParvexState kPXIntegrityConstraintViolation = kStates[14].code;
const ParvexState kPXInvalidTransactionState = kStates[15].code;
const ParvexState kPXTransactionInProgress = kStates[16].code;
const ParvexState kPXFeatureNotSupported = kStates[17].code;
const ParvexState kPXInternalSQLError = kStates[18].code;
const ParvexState kPXReadOnlyDatabase = kStates[19].code;
const ParvexState kPXDiskFull = kStates[20].code;
const ParvexState kPXProgramLimitExceeded = kStates[21].code;
const ParvexState kPXDatabaseLocked = kStates[22].code;
const ParvexState kPXIOError = kStates[23].code;
const ParvexState kPXDataCorrupted = kStates[24].code;

string ParvexStatus::Description() const {
  if (!mDescription.empty()) return mDescription;
  for (const StateEntry& entry : kStates) {
    if (entry.code == mState) return string(entry.message);
  }
  return string();
}

bool IsErrorState(ParvexState state) {
  if (!state) return true;
  return !(state[0] == '0' && (state[1] == '0' || state[1] == '1' || state[1] == '2'));
}

}  // namespace parvex
