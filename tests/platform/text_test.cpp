// Formatting, settings files, known folders and local time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/format.h"
#include "platform/known_folders.h"
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
    EXPECT_EQ(Format("%X %#x %#X %p", 0xABu, 0xABu, 0xABu, reinterpret_cast<void*>(0xABC)),
              "AB 0xab 0XAB 0000000000000ABC");
    EXPECT_EQ(Format("[%5d][%-5d][%05d][%-05d]", 42, 42, -42, 42), "[   42][42   ][-0042][42   ]");
    EXPECT_EQ(Format("[%6.4d][%06.4d][%#06x]", 42, 42, 42u), "[  0042][  0042][0x002a]");
}

TEST(Formatter, WritesTextsNarrowAndWide) {
    EXPECT_EQ(Format("%hs %hS %ls %ws %lS", "a", "b", u"c", u"d", u"e"), "a b c d e");
    EXPECT_EQ(Format("%S", u"\u00E4\u20AC\U0001F600"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(Format("%S", u"\xD800x"), "\xEF\xBF\xBDx") << "half a character";
    EXPECT_EQ(Format("[%5s][%-5s][%5.1S]", "ab", "ab", u"xyz"), "[   ab][ab   ][    x]");
    EXPECT_EQ(Format("%s|%S", static_cast<const char*>(nullptr), static_cast<WCHAR*>(nullptr)),
              "(null)|(null)");
    EXPECT_EQ(Format("%c%hc%lc[%3c]%c", 'a', 'b', u'c', 'd', 0), "abc[  d]");
    const char unended[2] = {'x', 'y'};
    EXPECT_EQ(Format("%.2s", unended), "xy");
}

TEST(Formatter, KeepsWhatItDoesNotKnowAndEndsAtItsLimit) {
    EXPECT_EQ(Format("100%% %q %"), "100% q ");
    EXPECT_EQ(Format("%99999999999999999999d", 1), std::string(1023, ' '));
    const std::string big(2000, 'x');
    EXPECT_EQ(Format("%s", big.c_str()), std::string(1023, 'x'));
    EXPECT_EQ(Format(big.c_str()), std::string(1023, 'x'));
    const std::u16string wide(600, u'\u00E4');
    EXPECT_EQ(Format("%S", wide.c_str()).size(), 1022u) << "no half of a character";
}

std::string Setting(const char* section, const char* key, DWORD size = 64) {
    char text[64];
    std::memset(text, '?', sizeof(text));
    const std::string name = TestFolder() + "/settings.ini";
    const DWORD stored =
        GetPrivateProfileStringA(section, key, "default  ", text, size, name.c_str());
    EXPECT_LT(stored, size);
    EXPECT_EQ(text[stored], 0);
    return {text, stored};
}

TEST(SettingsFile, GivesValuesOfKeysInSections) {
    const std::string name = TestFolder() + "/settings.ini";
    WriteWholeFile(
        name,
        "stray=1\r\n; comment=2\n[First]\r\n  Key = value one \r\nkey=second\n"
        "Quoted=\" kept \"\n=none\nno value\nEmpty=\n[ SECOND ]\nKey='x'\nEq=a=b\n[First\n");
    EXPECT_EQ(Setting("first", "KEY"), "value one") << "the first of two counts";
    EXPECT_EQ(Setting("First", "Quoted"), " kept ");
    EXPECT_EQ(Setting("Second", "eq"), "a=b");
    for (const char* key : {"no value", "comment", "stray", "x"})
        EXPECT_EQ(Setting("First", key), "default") << key;
    EXPECT_EQ(Setting("First", "Key", 6), "value") << "cut";
    EXPECT_EQ(Setting("First", nullptr), "Key\0key\0Quoted\0Empty\0"s);
    EXPECT_EQ(Setting(nullptr, nullptr), "First\0SECOND\0First\0"s);
    EXPECT_EQ(Setting("First", nullptr, 6), "Key\0"s) << "cut, with two zeros";
    WriteWholeFile(name, "[a]\nk=v\n" + std::string(1 << 20, ';'));
    EXPECT_EQ(Setting("a", "k"), "default") << "too large";
    std::filesystem::remove(name);
    EXPECT_EQ(Setting("a", "k"), "default");
}

TEST(KnownFolders, LieWhereTheUserHasThem) {
    const std::string home = TestFolder() + "/home";
    setenv("HOME", home.c_str(), 1);
    const struct {
        std::string data;
        int folder;
        HRESULT result;
        std::string path;
    } kCases[] = {
        {"", CSIDL_LOCAL_APPDATA, S_FALSE, ""},  // not there
        {"", CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, S_OK, home + "/.local/share"},
        {"relative", CSIDL_LOCAL_APPDATA, S_OK, home + "/.local/share"},
        {home + "/data//", CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, S_OK, home + "/data"},
        {"/dev/null/below", CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, E_FAIL, ""},
        {'/' + std::string(MAX_PATH, 'x'), CSIDL_LOCAL_APPDATA, E_FAIL, ""},
        {"", 17, E_INVALIDARG, ""},
        {"", CSIDL_APPDATA, S_OK, home + "/.."},
    };
    for (const auto& c : kCases) {
        setenv("XDG_DATA_HOME", c.data.c_str(), 1);
        setenv("XDG_CONFIG_HOME", (home + "/..").c_str(), 1);
        char path[MAX_PATH] = "dirt";
        EXPECT_EQ(SHGetFolderPathA(nullptr, c.folder, nullptr, 0, path), c.result) << c.data;
        EXPECT_EQ(path, c.path);
    }
}

TEST(LocalTime, IsWrittenInTheUsersZoneAndInEnglish) {
    setenv("TZ", "XYZ-2", 1);  // two hours east
    tzset();
    // 86400 s x 20775 days: 2026-11-18, a Wednesday.
    EXPECT_EQ(LocalTimeText(1794960000), "Wed Nov 18 02:00:00 2026");
    EXPECT_EQ(LocalTimeText(0), "Thu Jan  1 02:00:00 1970");
}

}  // namespace
