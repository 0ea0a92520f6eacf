// Status states, standard messages and custom descriptions. The standard
// messages of the states statements leave are checked end to end by the
// engine scripts (tests/sql/scripts/errors.sql).
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

}  // namespace
}  // namespace parvex
