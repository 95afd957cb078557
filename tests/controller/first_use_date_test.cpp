#include "controller/first_use_date.h"

#include <ctime>

#include "platform/registry.h"
#include "tests/controller/controller_rig.h"

namespace {

constexpr char kKey[] = "SOFTWARE\\Norvane\\QMR";
constexpr DWORD kNone = 0;

DWORD DeviceItem(DWORD year, DWORD month, DWORD day) {
    return year << 16 | day << 8 | month;
}
DWORD RegistryValue(DWORD year, DWORD month, DWORD day) {
    return month << 24 | day << 16 | year;
}

class FirstUseDate : public CControllerTest {
  protected:
    FirstUseDate() {
        DWORD error = 0;
        toolkit.OpenDevice(u"port", 1, &m_session, &error);
        toolkit.LockScanner(m_session, 0, OSTREL_LOCK_WAIT, &error);
    }
    ~FirstUseDate() override {
        DWORD error = 0;
        toolkit.CloseDevice(m_session, &error);
    }
    CFirstUseDate Make() {
        ComPtr<IOstrelNvram> nvram;
        nvram.QueryFrom(static_cast<IOstrelDevice*>(&toolkit), IID_IOstrelNvram);
        return CFirstUseDate("FAKE1", nvram, m_session);
    }
    static DWORD Registry() {
        DWORD value = kNone;
        DWORD size = sizeof(value);
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ, &key) == ERROR_SUCCESS) {
            RegQueryValueExA(key, "FAKE1", nullptr, nullptr, reinterpret_cast<BYTE*>(&value),
                             &size);
            RegCloseKey(key);
        }
        return value;
    }
    static void SetRegistry(DWORD value) {
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        RegSetValueExA(key, "FAKE1", 0, REG_DWORD, reinterpret_cast<BYTE*>(&value), sizeof(value));
        RegCloseKey(key);
    }
    DWORD& Device() { return toolkit.nvram[OSTREL_NVRAM_FIRST_USE]; }

    DWORD m_session = 0;
};

TEST_F(FirstUseDate, DeviceWinsThenRegistry) {
    const struct {
        DWORD registry, device, agreedRegistry, agreedDevice;
    } cases[] = {
        {RegistryValue(2005, 3, 4), DeviceItem(2010, 11, 12), RegistryValue(2010, 11, 12),
         DeviceItem(2010, 11, 12)},
        {RegistryValue(2005, 3, 4), kNone, RegistryValue(2005, 3, 4), DeviceItem(2005, 3, 4)},
        {RegistryValue(2005, 3, 4), DeviceItem(1999, 12, 31), RegistryValue(2005, 3, 4),
         DeviceItem(2005, 3, 4)},
        {kNone, DeviceItem(2000, 1, 31), RegistryValue(2000, 1, 31), DeviceItem(2000, 1, 31)},
        {RegistryValue(2101, 1, 1), DeviceItem(2100, 12, 1), RegistryValue(2100, 12, 1),
         DeviceItem(2100, 12, 1)},
        {RegistryValue(2005, 13, 1), DeviceItem(2005, 1, 31), RegistryValue(2005, 1, 31),
         DeviceItem(2005, 1, 31)},
    };
    for (const auto& c : cases) {
        SetRegistry(c.registry);
        Device() = c.device;
        EXPECT_TRUE(Make().reconcile());
        EXPECT_EQ(Registry(), c.agreedRegistry);
        EXPECT_EQ(Device(), c.agreedDevice);
    }
}

TEST_F(FirstUseDate, WithoutAnyItIsToday) {
    const auto today = [] {
        const std::time_t now = std::time(nullptr);
        std::tm local = {};
        localtime_r(&now, &local);
        return std::tuple<DWORD, DWORD, DWORD>(local.tm_year + 1900, local.tm_mon + 1,
                                               local.tm_mday);
    };
    Device() = DeviceItem(2000, 1, 32);
    auto [year, month, day] = today();
    ASSERT_TRUE(Make().reconcile());
    if (Device() != DeviceItem(year, month, day))  // midnight has passed
        std::tie(year, month, day) = today();
    EXPECT_EQ(Device(), DeviceItem(year, month, day));
    EXPECT_EQ(Registry(), RegistryValue(year, month, day));
    SetRegistry(RegistryValue(2001, 2, 3));
    EXPECT_TRUE(Make().ensureRegistryDate());
    EXPECT_EQ(Registry(), RegistryValue(2001, 2, 3)) << "a valid date is left alone";
    SetRegistry(kNone);
    EXPECT_TRUE(Make().ensureRegistryDate());
    EXPECT_EQ(Registry(), RegistryValue(year, month, day));
}

TEST_F(FirstUseDate, TellsWhetherBothWereWritten) {
    Device() = kNone;
    toolkit.FailAlways("WriteNvram", OSTREL_COMMUNICATION);
    EXPECT_FALSE(Make().reconcile());
    DWORD date = 7;
    EXPECT_FALSE(Make().getDeviceDate(&date));
    EXPECT_EQ(date, 0u);
}

TEST_F(FirstUseDate, CodeIsYearsSince1990AndDayOfTheYear) {
    const struct {
        CFirstUseDate::Date date;
        const char* code;
    } cases[] = {
        {{2000, 1, 1}, "10001"},   {{2001, 1, 31}, "11031"}, {{2001, 2, 28}, "11059"},
        {{2001, 3, 1}, "11060"},   {{2000, 3, 1}, "10061"},  {{2000, 12, 31}, "10366"},
        {{2001, 12, 31}, "11365"}, {{2024, 7, 4}, "34186"},  {{2100, 3, 1}, "10060"},
        {{2026, 11, 24}, "36328"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CFirstUseDate::DateCode(c.date), c.code);
    std::string code = "x";
    SetRegistry(RegistryValue(2001, 2, 28));
    Device() = kNone;
    EXPECT_TRUE(Make().getRegistryDateCode(&code));
    EXPECT_EQ(code, "11059");
    EXPECT_FALSE(Make().getDeviceDateCode(&code));
    EXPECT_EQ(code, "");
}

}  // namespace
