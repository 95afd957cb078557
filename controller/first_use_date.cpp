#include "controller/first_use_date.h"

#include <cstdio>

#include "platform/local_time.h"
#include "platform/registry_key.h"

namespace {

// Where every model keeps its value. The key outlives the driver: a scanner that is installed anew
// is no newer.
constexpr char kKey[] = "SOFTWARE\\Norvane\\QMR";
// Years that a date can have; any other comes from a memory that was never written, or is spoilt.
constexpr DWORD kFirstYear = 2000;
constexpr DWORD kLastYear = 2100;
// Year 0 of the date code.
constexpr DWORD kCodeEpoch = 1990;

bool IsLeapYear(DWORD year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// The day of the year, 1 for January 1st. From March on the lengths of months repeat every five,
// 153 days in all, so that (153 m + 2) / 5 is the number of days ahead of the m-th month behind
// March. January and February are counted as months 10 and 11 of the year before, 306 days behind
// its March.
DWORD DayOfYear(const CFirstUseDate::Date& date) {
    if (date.month <= 2)
        return ((date.month + 9) * 153 + 2) / 5 + date.day - 306;
    return ((date.month - 3) * 153 + 2) / 5 + date.day + (IsLeapYear(date.year) ? 60 : 59);
}

// Leaves the code empty for a date that is none.
bool MakeCode(const CFirstUseDate::Date& date, std::string* code) {
    if (!code)
        return false;
    *code = date.IsValid() ? CFirstUseDate::DateCode(date) : std::string();
    return date.IsValid();
}

}  // namespace

bool CFirstUseDate::Date::IsValid() const {
    return month >= 1 && month <= 12 && day >= 1 && day <= 31 && year >= kFirstYear &&
           year <= kLastYear;
}

CFirstUseDate::CFirstUseDate(const char* model, const ComPtr<IOstrelNvram>& nvram, DWORD session)
    : m_spNvram(nvram), m_dwSession(session) {
    std::snprintf(m_model, sizeof(m_model), "%s", model);
}

// The device wins, as it goes along when a scanner is carried to another machine.
bool CFirstUseDate::reconcile() {
    const Date device = ReadDevice();
    if (device.IsValid())
        return WriteRegistry(device);
    const Date registry = ReadRegistry();
    if (registry.IsValid())
        return WriteDevice(registry);
    const Date today = Today();
    if (!today.IsValid())
        return false;
    const bool inRegistry = WriteRegistry(today);
    return WriteDevice(today) && inRegistry;
}

bool CFirstUseDate::getDeviceDate(DWORD* date) {
    if (!date)
        return false;
    const Date found = ReadDevice();
    *date = found.IsValid() ? found.day | found.month << 8 | found.year << 16 : 0;
    return found.IsValid();
}

bool CFirstUseDate::getDeviceDateCode(std::string* code) {
    return MakeCode(ReadDevice(), code);
}

// For a device without a memory of its own the registry alone keeps the date.
bool CFirstUseDate::ensureRegistryDate() {
    if (!ReadRegistry().IsValid())
        WriteRegistry(Today());
    return true;
}

bool CFirstUseDate::getRegistryDateCode(std::string* code) {
    return MakeCode(ReadRegistry(), code);
}

// Two digits hold the years up to 2089; from then on they begin again.
std::string CFirstUseDate::DateCode(const Date& date) {
    char code[16];
    std::snprintf(code, sizeof(code), "%02u%03u", (date.year - kCodeEpoch) % 100, DayOfYear(date));
    return code;
}

// The two places write the same three numbers in other orders: the device year, day, month from the
// highest bits down, the registry month, day, year.
CFirstUseDate::Date CFirstUseDate::ReadDevice() {
    DWORD value = 0;
    DWORD error = OSTREL_NO_ERROR;
    if (!m_spNvram ||
        FAILED(m_spNvram->ReadNvram(m_dwSession, OSTREL_NVRAM_FIRST_USE, &value, &error)))
        return {};
    return {.year = value >> 16, .month = value & 0xFF, .day = value >> 8 & 0xFF};
}

bool CFirstUseDate::WriteDevice(const Date& date) {
    DWORD error = OSTREL_NO_ERROR;
    const DWORD value = date.year << 16 | date.day << 8 | date.month;
    return m_spNvram &&
           SUCCEEDED(m_spNvram->WriteNvram(m_dwSession, OSTREL_NVRAM_FIRST_USE, value, &error));
}

CFirstUseDate::Date CFirstUseDate::ReadRegistry() const {
    CRegistryKey key;
    DWORD value = 0;
    // A value of another kind counts as none, and is written over.
    if (key.Open(HKEY_LOCAL_MACHINE, kKey) != ERROR_SUCCESS ||
        !ReadNumber(key.Get(), m_model, value))
        return {};
    return {.year = value & 0xFFFF, .month = value >> 24, .day = value >> 16 & 0xFF};
}

bool CFirstUseDate::WriteRegistry(const Date& date) const {
    CRegistryKey key;
    const DWORD value = date.month << 24 | date.day << 16 | date.year;
    return key.Create(HKEY_LOCAL_MACHINE, kKey, KEY_WRITE) == ERROR_SUCCESS &&
           key.WriteNumber(m_model, value) == ERROR_SUCCESS;
}

CFirstUseDate::Date CFirstUseDate::Today() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    return {.year = now.wYear, .month = now.wMonth, .day = now.wDay};
}
