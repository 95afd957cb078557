// Formatting, settings files, module names, messages and local time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/format.h"
#include "platform/handle.h"
#include "platform/local_time.h"
#include "platform/module.h"
#include "tests/platform/test_folder.h"

namespace {

using namespace std::string_literals;

template <class... Arguments>
std::string Format(const char* format, Arguments... arguments) {
    char text[1024];
    std::memset(text, '?', sizeof(text));
    const int size = wsprintfA(text, format, arguments...);
    EXPECT_EQ(static_cast<std::size_t>(size), std::strlen(text)) << format;
    return text;
}

TEST(Formatter, WritesNumbersOfThirtyTwoBitsUnlessToldOtherwise) {
    EXPECT_EQ(Format("%d %i %u", -1, INT32_MIN, 0xFFFFFFFFu), "-1 -2147483648 4294967295");
    EXPECT_EQ(Format("%ld|%lu|%lx", -5, 0xFFFFFFFBu, 0xABCDEFu), "-5|4294967291|abcdef");
    EXPECT_EQ(Format("%hd %hu", 0x18000, 0x1FFFF), "-32768 65535");
    EXPECT_EQ(Format("%I64d %I64u", INT64_MIN, UINT64_MAX),
              "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(Format("%x %X %#x %#X %I64X", 0xABu, 0xABu, 0xABu, 0xABu, 0xABCDEF0123u),
              "ab AB 0xab 0XAB ABCDEF0123");
    EXPECT_EQ(Format("%p", reinterpret_cast<void*>(0xABC)), "0000000000000ABC");
    EXPECT_EQ(Format("[%5d][%-5d][%05d][%-05d]", 42, 42, -42, 42), "[   42][42   ][-0042][42   ]");
    EXPECT_EQ(Format("[%.4d][%6.4d][%06.4d][%#06x]", 42, 42, 42, 42u),
              "[0042][  0042][  0042][0x002a]");
    EXPECT_EQ(Format("%d", 1, 2), "1") << "what nobody asks for stays out";
}

TEST(Formatter, WritesTextsNarrowAndWide) {
    EXPECT_EQ(Format("%s %S", "narrow", u"wide"), "narrow wide");
    EXPECT_EQ(Format("%hs %hS %ls %ws %lS", "a", "b", u"c", u"d", u"e"), "a b c d e");
    EXPECT_EQ(Format("%S", u"\u00E4\u20AC\U0001F600"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(Format("%S", u"\xD800x"), "\xEF\xBF\xBDx") << "half a character";
    EXPECT_EQ(Format("[%5s][%-5s][%.2s][%5.1S]", "ab", "ab", "abc", u"xyz"),
              "[   ab][ab   ][ab][    x]");
    EXPECT_EQ(Format("%s|%S", static_cast<const char*>(nullptr), static_cast<WCHAR*>(nullptr)),
              "(null)|(null)");
    EXPECT_EQ(Format("%c%C%hc%lc[%3c]", 'a', u'\u00E4', 'b', u'c', 'd'),
              "a\xC3\xA4"
              "bc[  d]");
    EXPECT_EQ(Format("a%cb", 0), "ab");
    const char unended[2] = {'x', 'y'};
    EXPECT_EQ(Format("%.2s", unended), "xy");
}

TEST(Formatter, KeepsWhatItDoesNotKnowAndEndsAtItsLimit) {
    EXPECT_EQ(Format("100%% %q %"), "100% q ");
    EXPECT_EQ(Format("%5"), "");
    EXPECT_EQ(Format("%99999999999999999999d", 1), std::string(1023, ' '));
    const std::string big(2000, 'x');
    EXPECT_EQ(Format("%s", big.c_str()), std::string(1023, 'x'));
    EXPECT_EQ(Format(big.c_str()), std::string(1023, 'x'));
    const std::u16string wide(600, u'\u00E4');
    EXPECT_EQ(Format("%S", wide.c_str()).size(), 1022u) << "no half of a character";
}

std::string Setting(const char* section, const char* key, const char* otherwise = "default  ",
                    DWORD size = 64) {
    char text[64];
    std::memset(text, '?', sizeof(text));
    const std::string name = TestFolder() + "/settings.ini";
    const DWORD stored =
        GetPrivateProfileStringA(section, key, otherwise, text, size, name.c_str());
    EXPECT_LT(stored, size);
    EXPECT_EQ(text[stored], 0);
    return {text, stored};
}

TEST(SettingsFile, GivesValuesOfKeysInSections) {
    WriteWholeFile(
        TestFolder() + "/settings.ini",
        "stray=1\r\n; comment=2\n[First]\r\n  Key = value one \r\nkey=second\n"
        "Quoted=\" kept \"\n=none\nno value\nEmpty=\n[ SECOND ]\nKey='x'\nEq=a=b\n[First\n");
    EXPECT_EQ(Setting("first", "KEY"), "value one") << "the first of two counts";
    EXPECT_EQ(Setting("First", "Quoted"), " kept ");
    EXPECT_EQ(Setting("First", "Empty"), "");
    EXPECT_EQ(Setting("Second", "key"), "x");
    EXPECT_EQ(Setting("Second", "eq"), "a=b");
    for (const char* key : {"no value", "comment", "stray", "x"})
        EXPECT_EQ(Setting("First", key), "default") << key;
    EXPECT_EQ(Setting("Third", "Key", nullptr), "");
    EXPECT_EQ(Setting("First", "Key", "", 6), "value") << "cut";
    EXPECT_EQ(Setting("First", nullptr), "Key\0key\0Quoted\0Empty\0"s);
    EXPECT_EQ(Setting(nullptr, nullptr), "First\0SECOND\0First\0"s);
    EXPECT_EQ(Setting("First", nullptr, "", 6), "Key\0"s) << "cut, with two zeros";

    WriteWholeFile(TestFolder() + "/settings.ini", "[a]\nk=v\n" + std::string(1 << 20, ';'));
    EXPECT_EQ(Setting("a", "k"), "default") << "too large";
    std::filesystem::remove(TestFolder() + "/settings.ini");
    EXPECT_EQ(Setting("a", "k"), "default");
}

TEST(ModuleName, IsThatOfTheProgramOrOfTheLibraryAroundAnAddress) {
    char name[1024];
    const auto file = [&](HMODULE module, DWORD room = sizeof(name)) {
        return GetModuleFileNameA(module, name, room) != 0 ? std::string(name) : "none";
    };
    static const int ours = 0;
    for (const HMODULE program : {HMODULE{}, ModuleFromAddress(&ours)})
        EXPECT_EQ(file(program), std::filesystem::read_symlink("/proc/self/exe"));
    const HMODULE platform = ModuleFromAddress(reinterpret_cast<const void*>(&CloseHandle));
    EXPECT_EQ(std::filesystem::path(file(platform)).stem().stem(), "libnvqplatform");
    EXPECT_EQ(file(platform, 4).size(), 3u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    int local = 0;
    EXPECT_EQ(file(&local), "none");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(Message, GoesToTheHookThatIsSet) {
    std::string told;
    const auto formerBox = SetMessageBoxHook([&](HWND, LPCSTR text, LPCSTR caption, UINT type) {
        told += caption + ": "s + text + std::to_string(type);
        return 7;
    });
    const auto formerString = SetDebugStringHook([&](LPCSTR text) { told += text; });
    EXPECT_EQ(MessageBoxA(nullptr, "text", "caption", MB_ICONERROR), 7);
    EXPECT_EQ(MessageBoxA(nullptr, nullptr, nullptr, MB_OK), 7);
    OutputDebugStringA("debug");
    EXPECT_EQ(told, "caption: text16: 0debug");
    EXPECT_TRUE(SetMessageBoxHook(formerBox));
    EXPECT_TRUE(SetDebugStringHook(formerString));
}

TEST(LocalTime, IsWrittenInTheUsersZoneAndInEnglish) {
    setenv("TZ", "XYZ-2", 1);  // two hours east
    tzset();
    // 86400 s x 20775 days: 2026-11-18, a Wednesday.
    EXPECT_EQ(LocalTimeText(1794960000), "Wed Nov 18 02:00:00 2026");
    EXPECT_EQ(LocalTimeText(0), "Thu Jan  1 02:00:00 1970");
}

}  // namespace
