// The platform's clock: the current local date and time, in the time zone
// the process runs in.
#pragma once

namespace parvex {

struct LocalDateTime {
  int year = 0;    // e.g. 2007
  int month = 0;   // 1 to 12
  int day = 0;     // 1 to 31
  int hour = 0;    // 0 to 23
  int minute = 0;  // 0 to 59
  int second = 0;  // 0 to 60 (a leap second)
};

// Fills `out` with the current local date and time. Returns false, leaving
// `out` untouched, when the platform yields no time or cannot break it down.
bool GetLocalDateTime(LocalDateTime* out);

}  // namespace parvex
