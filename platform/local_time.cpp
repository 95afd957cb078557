#include "platform/local_time.h"

#include <chrono>
#include <cstdio>

void GetLocalTime(SYSTEMTIME* time) {
    using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::system_clock;
    // What stays if the zone's rules can't be had.
    *time = {};
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    std::tm local = {};
    if (!localtime_r(&seconds, &local))
        return;
    // All of them fit: the year is the largest.
    const auto word = [](long long value) { return static_cast<WORD>(value); };
    time->wYear = word(1900LL + local.tm_year);
    time->wMonth = word(1LL + local.tm_mon);
    time->wDayOfWeek = word(local.tm_wday);
    time->wDay = word(local.tm_mday);
    time->wHour = word(local.tm_hour);
    time->wMinute = word(local.tm_min);
    time->wSecond = word(local.tm_sec);
    time->wMilliseconds = word(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
}

std::string LocalTimeText(std::time_t time) {
    // Not by strftime, which follows the program's locale.
    static constexpr char kDays[][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr char kMonths[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm local = {};
    if (!localtime_r(&time, &local))
        return {};
    char text[64];
    std::snprintf(text, sizeof(text), "%s %s %2d %02d:%02d:%02d %lld", kDays[local.tm_wday],
                  kMonths[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  1900LL + local.tm_year);
    return text;
}

std::string LocalTimeText() {
    return LocalTimeText(std::time(nullptr));
}
