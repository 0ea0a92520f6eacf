// The platform clock yields a plausible local date and time.
#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

namespace parvex {
namespace {

TEST(ClockTest, LocalDateAndTimeInRange) {
  LocalDateTime now;
  ASSERT_TRUE(GetLocalDateTime(&now));
  EXPECT_GE(now.year, 2020);
  EXPECT_GE(now.month, 1);
  EXPECT_LE(now.month, 12);
  EXPECT_GE(now.day, 1);
  EXPECT_LE(now.day, 31);
  EXPECT_GE(now.hour, 0);
  EXPECT_LE(now.hour, 23);
  EXPECT_GE(now.minute, 0);
  EXPECT_LE(now.minute, 59);
  EXPECT_GE(now.second, 0);
  EXPECT_LE(now.second, 60);
}

}  // namespace
}  // namespace parvex
