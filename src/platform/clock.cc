// Local date and time through time() and localtime_r().
#include "platform/clock.h"

#include <ctime>

namespace parvex {

namespace {
constexpr int kTmYearBase = 1900;  // struct tm counts years from 1900
constexpr int kTmMonthBase = 1;    // and months from 0
}  // namespace

bool GetLocalDateTime(LocalDateTime* out) {
  const time_t now = time(nullptr);
  if (now == static_cast<time_t>(-1)) return false;
  struct tm parts {};
  if (localtime_r(&now, &parts) == nullptr) return false;
  out->year = parts.tm_year + kTmYearBase;
  out->month = parts.tm_mon + kTmMonthBase;
  out->day = parts.tm_mday;
  out->hour = parts.tm_hour;
  out->minute = parts.tm_min;
  out->second = parts.tm_sec;
  return true;
}

}  // namespace parvex
