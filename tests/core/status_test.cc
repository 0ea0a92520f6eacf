// Status states, standard messages and custom descriptions.
#include "core/status.h"

#include <gtest/gtest.h>

namespace parvex {
namespace {

TEST(StatusTest, DefaultIsSuccessWithStandardMessage) {
  ParvexStatus status;
  EXPECT_EQ(status.State(), kPXStateSuccess);
  EXPECT_EQ(status.Description().view(), "Success");
}

TEST(StatusTest, CustomDescriptionWinsAndSurvivesAssignment) {
  ParvexStatus status(kPXStateNoData, string("Cool beans!"));
  EXPECT_EQ(status.State(), kPXStateNoData);
  EXPECT_EQ(status.Description().view(), "Cool beans!");
  ParvexStatus target;
  target = status;
  EXPECT_EQ(target.State(), kPXStateNoData);
  EXPECT_EQ(target.Description().view(), "Cool beans!");
  EXPECT_EQ(ParvexStatus(kPXStateNoData).Description().view(), "No records found.");
}

TEST(StatusTest, StatesAreComparedByIdentityNotText) {
  static const char kLookalike[] = "00000";
  ParvexStatus status(kLookalike);
  EXPECT_NE(status.State(), kPXStateSuccess);
  EXPECT_EQ(status.Description().view(), "");
}

TEST(StatusTest, EveryStateHasItsMessageAndClass) {
  struct Case {
    ParvexState state;
    const char* code;
    const char* message;
    bool error;
  };
  const Case cases[] = {
      {kPXWarnStringRightTruncated, "01004", "Warning: String truncated on right.", false},
      {kPXWarnInvalidKeyword, "01S09", "Warning: Invalid SQL keyword.", false},
      {kPXDynamicSQLError, "07000", "Error: Dynamic SQL error.", true},
      {kPXTableAlreadyExists, "42S01", "Error: Table already exists.", true},
      {kPXTableNotFound, "42S02", "Error: Table not found.", true},
      {kPXIndexAlreadyExists, "42S11", "Error: Index already exists.", true},
      {kPXIndexNotFound, "42S12", "Error: Index not found.", true},
      {kPXColumnAlreadyExists, "42S21", "Error: Column already exists.", true},
      {kPXColumnNotFound, "42S22", "Error: Column not found.", true},
      {kPXInsertValuesMismatch, "21S01", "Error: Insert value list does not match column list.", true},
      {kPXDataException, "22000", "Error: Data exception.", true},
      {kPXInvalidParameter, "22023", "Error: Invalid parameter.", true},
      {kPXIntegrityConstraintViolation, "23000", "Error: Integrity constraint violation.", true},
      {kPXInvalidTransactionState, "25000", "Error: Invalid transaction state.", true},
      {kPXTransactionInProgress, "25S02", "Error: Transaction in progress.", true},
      {kPXFeatureNotSupported, "0A000", "Error: Unsupported SQL feature.", true},
      {kPXInternalSQLError, "72000", "Error: Internal SQL processor error.", true},
      {kPXReadOnlyDatabase, "25006", "Error: The database is open read-only.", true},
      {kPXDiskFull, "53100", "Error: Disk full.", true},
      {kPXProgramLimitExceeded, "54000", "Error: Program limit exceeded.", true},
      {kPXDatabaseLocked, "55006", "Error: The database is locked by another process.", true},
      {kPXIOError, "58030", "Error: Input/output error.", true},
  };
  for (const Case& c : cases) {
    ParvexStatus status(c.state);
    EXPECT_STREQ(status.Code(), c.code);
    EXPECT_EQ(status.Description().view(), c.message) << c.code;
    EXPECT_EQ(IsErrorState(c.state), c.error) << c.code;
  }
  EXPECT_FALSE(IsErrorState(kPXStateNoData));
  EXPECT_FALSE(IsErrorState(kPXStateSuccess));
}

}  // namespace
}  // namespace parvex
