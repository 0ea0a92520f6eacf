// ParvexStatus: the outcome of every fallible operation.
//
// A status is a state (one of the exported SQLSTATE constants below, compared
// by identity, never by text) plus an optional description that, when not
// empty, replaces the state's standard message. Operations take a
// `ParvexStatus*` out-parameter; a null pointer makes their errors silent. A
// failing operation overwrites state and description together.
#pragma once

#include "platform/parvex_string.h"

namespace parvex {

// A state is a pointer to one of the constants' five-character SQLSTATE texts.
using ParvexState = const char*;

extern const ParvexState kPXStateSuccess;               // "00000"
extern const ParvexState kPXWarnStringRightTruncated;   // "01004"
extern const ParvexState kPXWarnInvalidKeyword;         // "01S09"
extern const ParvexState kPXStateNoData;                // "02000"
extern const ParvexState kPXDynamicSQLError;            // "07000"
extern const ParvexState kPXTableAlreadyExists;         // "42S01"
extern const ParvexState kPXTableNotFound;              // "42S02"
extern const ParvexState kPXIndexAlreadyExists;         // "42S11"
extern const ParvexState kPXIndexNotFound;              // "42S12"
extern const ParvexState kPXColumnAlreadyExists;        // "42S21"
extern const ParvexState kPXColumnNotFound;             // "42S22"
extern const ParvexState kPXInsertValuesMismatch;       // "21S01"
extern const ParvexState kPXDataException;              // "22000"
extern const ParvexState kPXInvalidParameter;           // "22023"
extern const ParvexState kPXIntegrityConstraintViolation;  // "23000"
extern const ParvexState kPXInvalidTransactionState;    // "25000"
extern const ParvexState kPXTransactionInProgress;      // "25S02"
extern const ParvexState kPXFeatureNotSupported;        // "0A000"
extern const ParvexState kPXInternalSQLError;           // "72000"
// The database file and its host.
extern const ParvexState kPXReadOnlyDatabase;           // "25006"
extern const ParvexState kPXDiskFull;                   // "53100"
extern const ParvexState kPXProgramLimitExceeded;       // "54000"
extern const ParvexState kPXDatabaseLocked;             // "55006"
extern const ParvexState kPXIOError;                    // "58030"
extern const ParvexState kPXDataCorrupted;              // "XX001": a database file is damaged

class ParvexStatus {
 public:
  ParvexStatus() = default;
  explicit ParvexStatus(ParvexState state, string description = string())
      : mState(state), mDescription(std::move(description)) {}

  ParvexState State() const { return mState; }
  // The custom description when set, else the state's standard message, else
  // (for a state that is none of the constants) the empty string.
  string Description() const;
  // The five-character SQLSTATE text ("" for a null state).
  const char* Code() const { return mState ? mState : ""; }

  void Set(ParvexState state, string description = string()) {
    mState = state;
    mDescription = std::move(description);
  }

 private:
  ParvexState mState = kPXStateSuccess;
  string mDescription;
};

// Sets `*status` when `status` is not null (the usual way to report).
inline void SetStatus(ParvexStatus* status, ParvexState state, string description = string()) {
  if (status) status->Set(state, std::move(description));
}

// SQLSTATE classes: "00" success, "01" warning, "02" no data, anything else an error.
bool IsErrorState(ParvexState state);

}  // namespace parvex
