// Local date and time through time() and localtime_r().
#include "platform/clock.h"

#include <ctime>

namespace parvex {

namespace {
constexpr int kTmYearBase = 1900;  // struct tm counts years from 1900
constexpr int kTmMonthBase = 1;    // and months from 0
}  // namespace

bool GetLocalDateTime(LocalDateTime* out) {
  // The breakdown of the second asked last (per thread): asked again within
  // the same second, the answer is the same.
  thread_local time_t lastTime = static_cast<time_t>(-1);
  thread_local LocalDateTime lastParts;
  const time_t now = time(nullptr);
  if (now == static_cast<time_t>(-1)) return false;
  if (now != lastTime) {
    struct tm parts {};
    if (localtime_r(&now, &parts) == nullptr) return false;
    lastParts.year = parts.tm_year + kTmYearBase;
    lastParts.month = parts.tm_mon + kTmMonthBase;
    lastParts.day = parts.tm_mday;
    lastParts.hour = parts.tm_hour;
    lastParts.minute = parts.tm_min;
    lastParts.second = parts.tm_sec;
    lastTime = now;
  }
  *out = lastParts;
  return true;
}

}  // namespace parvex
