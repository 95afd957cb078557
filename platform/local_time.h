#pragma once

#include <ctime>
#include <string>

#include "platform/types.h"

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;      // from 1
    WORD wDayOfWeek;  // 0: Sunday
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

// Now, in local time; all zero if it can't be had.
void GetLocalTime(SYSTEMTIME* time);

// A moment in local time and in English whatever the locale, as "Wed Nov 18 08:00:00 2026". Of our
// own, because the library's functions for it share one buffer between threads.
std::string LocalTimeText(std::time_t time);
std::string LocalTimeText();  // now
