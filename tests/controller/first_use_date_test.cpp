#include "controller/first_use_date.h"

#include <ctime>

#include "platform/registry.h"
#include "tests/controller/controller_rig.h"

namespace {

using FirstUseDate = CControllerTest;
using Date = CFirstUseDate::Date;

// An opening makes the device and the registry agree.
TEST_F(FirstUseDate, OfTheDeviceWinsThenThatOfTheRegistryThenToday) {
    HKEY key = nullptr;
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvane\\QMR", 0, nullptr, 0, KEY_ALL_ACCESS,
                    nullptr, &key, nullptr);
    const auto inDevice = [](const Date& d) { return d.year << 16 | d.day << 8 | d.month; };
    const auto inRegistry = [](const Date& d) { return d.month << 24 | d.day << 16 | d.year; };
    const std::time_t now = std::time(nullptr);
    const std::tm local = *std::localtime(&now);
    const Date today = {static_cast<DWORD>(local.tm_year + 1900),
                        static_cast<DWORD>(local.tm_mon + 1), static_cast<DWORD>(local.tm_mday)};
    const struct {
        Date registry, device, agreed;
    } cases[] = {
        {{2005, 3, 4}, {2010, 11, 12}, {2010, 11, 12}}, {{2005, 3, 4}, {}, {2005, 3, 4}},
        {{2005, 3, 4}, {1999, 12, 31}, {2005, 3, 4}},   {{}, {2000, 1, 31}, {2000, 1, 31}},
        {{2101, 1, 1}, {2100, 12, 1}, {2100, 12, 1}},   {{2005, 13, 1}, {2000, 1, 32}, today},
    };
    for (const auto& c : cases) {
        DWORD value = inRegistry(c.registry);
        DWORD size = sizeof(value);
        RegSetValueExA(key, "SIM500D", 0, REG_DWORD, reinterpret_cast<BYTE*>(&value), size);
        WriteWholeFile(device.Path() + "/state",
                       "nvramFirstUse=" + std::to_string(inDevice(c.device)));
        ASSERT_EQ(Open(), S_OK);
        EXPECT_EQ(device.State().nvramFirstUse, inDevice(c.agreed));
        RegQueryValueExA(key, "SIM500D", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        EXPECT_EQ(value, inRegistry(c.agreed));
        DWORD date = 0;
        EXPECT_EQ(scan->getFirstUseDate(&date), S_OK);
        EXPECT_EQ(date, c.agreed.day | c.agreed.month << 8 | c.agreed.year << 16);
    }
    RegCloseKey(key);
}

TEST_F(FirstUseDate, CodeIsYearsSince1990AndDayOfTheYear) {
    const std::pair<Date, const char*> cases[] = {
        {{2001, 3, 1}, "11060"},   {{2000, 3, 1}, "10061"}, {{2000, 12, 31}, "10366"},
        {{2001, 12, 31}, "11365"}, {{2100, 3, 1}, "10060"},
    };
    for (const auto& [date, code] : cases)
        EXPECT_EQ(CFirstUseDate::DateCode(date), code);
}

}  // namespace
