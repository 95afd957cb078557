#include "controller/first_use_date.h"

#include <ctime>

#include "platform/registry.h"
#include "tests/controller/controller_rig.h"

namespace {

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
        toolkit.OpenDevice(device.Port().c_str(), 1, &m_session, &error);
        toolkit.LockScanner(m_session, 0, OSTREL_LOCK_WAIT, &error);
        m_nvram.QueryFrom(static_cast<IOstrelDevice*>(&toolkit), IID_IOstrelNvram);
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvane\\QMR", 0, nullptr, 0, KEY_ALL_ACCESS,
                        nullptr, &m_key, nullptr);
    }
    ~FirstUseDate() override {
        DWORD error = 0;
        toolkit.CloseDevice(m_session, &error);
        RegCloseKey(m_key);
    }
    CFirstUseDate Make() { return CFirstUseDate("MODEL", m_nvram, m_session); }
    DWORD Registry() {
        DWORD value = kNone;
        DWORD size = sizeof(value);
        RegQueryValueExA(m_key, "MODEL", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        return value;
    }
    void Set(DWORD registry, DWORD item) {
        DWORD error = 0;
        RegSetValueExA(m_key, "MODEL", 0, REG_DWORD, reinterpret_cast<BYTE*>(&registry), 4);
        m_nvram->WriteNvram(m_session, OSTREL_NVRAM_FIRST_USE, item, &error);
    }
    DWORD Device() const { return static_cast<DWORD>(device.State().nvramFirstUse); }

    DWORD m_session = 0;
    ComPtr<IOstrelNvram> m_nvram;
    HKEY m_key = nullptr;
};

TEST_F(FirstUseDate, DeviceWinsThenRegistry) {
    const struct {
        DWORD registry, device, year, month, day;
    } cases[] = {
        {RegistryValue(2005, 3, 4), DeviceItem(2010, 11, 12), 2010, 11, 12},
        {RegistryValue(2005, 3, 4), kNone, 2005, 3, 4},
        {RegistryValue(2005, 3, 4), DeviceItem(1999, 12, 31), 2005, 3, 4},
        {kNone, DeviceItem(2000, 1, 31), 2000, 1, 31},
        {RegistryValue(2101, 1, 1), DeviceItem(2100, 12, 1), 2100, 12, 1},
        {RegistryValue(2005, 13, 1), DeviceItem(2005, 1, 31), 2005, 1, 31},
    };
    for (const auto& c : cases) {
        Set(c.registry, c.device);
        EXPECT_TRUE(Make().reconcile());
        EXPECT_EQ(Registry(), RegistryValue(c.year, c.month, c.day));
        EXPECT_EQ(Device(), DeviceItem(c.year, c.month, c.day));
    }
}

TEST_F(FirstUseDate, WithoutAnyItIsToday) {
    const auto today = [](auto coded) {
        const std::time_t now = std::time(nullptr);
        std::tm local = {};
        localtime_r(&now, &local);
        return coded(static_cast<DWORD>(local.tm_year + 1900), static_cast<DWORD>(local.tm_mon + 1),
                     static_cast<DWORD>(local.tm_mday));
    };
    const DWORD before = today(RegistryValue);
    Set(kNone, DeviceItem(2000, 1, 32));
    ASSERT_TRUE(Make().reconcile());
    EXPECT_TRUE(Registry() == before || Registry() == today(RegistryValue));
    EXPECT_EQ(Device(), DeviceItem(Registry() & 0xFFFF, Registry() >> 24, Registry() >> 16 & 0xFF));
    Set(RegistryValue(2001, 2, 3), kNone);
    EXPECT_TRUE(Make().ensureRegistryDate());
    EXPECT_EQ(Registry(), RegistryValue(2001, 2, 3)) << "a valid date is left alone";
    Set(kNone, kNone);
    EXPECT_TRUE(Make().ensureRegistryDate());
    EXPECT_TRUE(Registry() == before || Registry() == today(RegistryValue));
    toolkit.Fail(WriteNvram, OSTREL_COMMUNICATION);
    EXPECT_FALSE(Make().reconcile()) << "tells that one of them was not written";
}

TEST_F(FirstUseDate, CodeIsYearsSince1990AndDayOfTheYear) {
    const std::pair<CFirstUseDate::Date, const char*> cases[] = {
        {{2000, 1, 1}, "10001"},   {{2001, 1, 31}, "11031"}, {{2001, 2, 28}, "11059"},
        {{2001, 3, 1}, "11060"},   {{2000, 3, 1}, "10061"},  {{2000, 12, 31}, "10366"},
        {{2001, 12, 31}, "11365"}, {{2024, 7, 4}, "34186"},  {{2100, 3, 1}, "10060"},
    };
    for (const auto& [date, code] : cases)
        EXPECT_EQ(CFirstUseDate::DateCode(date), code);
    std::string code = "x";
    Set(RegistryValue(2001, 2, 28), kNone);
    EXPECT_TRUE(Make().getRegistryDateCode(&code));
    EXPECT_EQ(code, "11059");
    EXPECT_FALSE(Make().getDeviceDateCode(&code));
    EXPECT_EQ(code, "");
}

}  // namespace
