// The date on which a scanner was first used. It is kept twice, in the device's memory and in the
// registry, under SOFTWARE\Norvane\QMR of HKEY_LOCAL_MACHINE in a value named after the model; each
// fills in for the other.
//
// A date is valid with a month of 1 to 12, a day of 1 to 31 and a year of 2000 to 2100. Operations
// on the device are called under its lock.
#pragma once

#include <string>

#include "controller/toolkit.h"
#include "platform/com_ptr.h"
#include "platform/types.h"

class CFirstUseDate {
  public:
    CFirstUseDate(const char* model, const ComPtr<IOstrelNvram>& nvram, DWORD session);
    virtual ~CFirstUseDate() = default;
    CFirstUseDate(const CFirstUseDate&) = delete;
    CFirstUseDate& operator=(const CFirstUseDate&) = delete;

    // Makes the two agree. The device's date wins, then the registry's; without either it is today.
    // True if all that had to be written was.
    virtual bool reconcile();
    // day + month << 8 + year << 16. False, and 0, without a valid date.
    virtual bool getDeviceDate(DWORD* date);
    // Five digits, see below. False, and an empty text, without a valid date.
    virtual bool getDeviceDateCode(std::string* code);
    // Writes today's date into the registry unless a valid one stands there. Always true: a date
    // that can't be kept is no failure.
    virtual bool ensureRegistryDate();
    virtual bool getRegistryDateCode(std::string* code);

    struct Date {
        DWORD year = 0;
        DWORD month = 0;
        DWORD day = 0;

        bool IsValid() const;
    };
    // Two digits for the years since 1990, three for the day of the year.
    static std::string DateCode(const Date& date);

  private:
    Date ReadDevice();
    bool WriteDevice(const Date& date);
    Date ReadRegistry() const;
    bool WriteRegistry(const Date& date) const;
    static Date Today();

    char m_model[kOstrelModelChars + 1];
    const ComPtr<IOstrelNvram> m_spNvram;
    const DWORD m_dwSession;
};
