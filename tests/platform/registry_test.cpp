#include "platform/registry_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>

#include "platform/internal/registry_file.h"
#include "platform/module.h"
#include "platform/sync.h"
#include "platform/unique_handle.h"
#include "tests/platform/test_folder.h"

namespace {

namespace fs = std::filesystem;

const std::string kTitle = "Windows Registry Editor Version 5.00\n";

class Registry : public testing::Test {
  protected:
    void SetUp() override { ForgetRegistry(); }
    void TearDown() override { RegClearProcessValues(); }
};

CRegistryKey Open(HKEY parent, const char* path, REGSAM access = KEY_ALL_ACCESS) {
    CRegistryKey key;
    EXPECT_EQ(key.Open(parent, path, access), ERROR_SUCCESS) << path;
    return key;
}

CRegistryKey Create(HKEY parent, const char* path) {
    CRegistryKey key;
    EXPECT_EQ(key.Create(parent, path), ERROR_SUCCESS) << path;
    return key;
}

LONG Query(HKEY key, const char* name) {
    return RegQueryValueExA(key, name, nullptr, nullptr, nullptr, nullptr);
}

using Names = std::vector<std::string>;

TEST_F(Registry, MakesItsFolderForTheUserOnlyAndKeepsWhatIsSet) {
    CRegistryKey key;
    EXPECT_EQ(key.Open(HKEY_CURRENT_USER, "Software\\Vendor"), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(fs::exists(RegistryPath())) << "reading makes nothing";
    key = Create(HKEY_CURRENT_USER, "Software\\Vendor");
    EXPECT_EQ(key.WriteText("Model", "C:\\x"), ERROR_SUCCESS);
    EXPECT_EQ(key.WriteText(nullptr, "default"), ERROR_SUCCESS);
    EXPECT_EQ(key.WriteNumber("Count", 42), ERROR_SUCCESS);
    EXPECT_EQ(fs::status(RegistryPath()).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(fs::path(RegistryPath()).parent_path()).permissions(), fs::perms(0700));

    key = Create(HKEY_CURRENT_USER, "software\\VENDOR\\");
    EXPECT_EQ(key.ReadText("model"), "C:\\x");
    EXPECT_EQ(key.ReadText(""), "default");
    EXPECT_EQ(key.Open(HKEY_LOCAL_MACHINE, "Software\\Vendor"), ERROR_FILE_NOT_FOUND)
        << "each root has keys of its own";
    EXPECT_EQ(key.ReadNumber("COUNT"), 42u) << "the key that was open stays so";
}

TEST_F(Registry, GivesValuesOfTheirKindThatFitAndNothingElse) {
    CRegistryKey key = Create(HKEY_CURRENT_USER, "K");
    key.WriteText("T", "four");
    key.WriteNumber("N", 7);
    // A text that is set without its zero gets it; what stands behind a zero inside isn't text.
    RegSetValueExA(key.Get(), "X", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>("a\0b"), 3);
    BYTE data[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    DWORD type = 0;
    DWORD size = 4;
    const auto query = [&](BYTE* to, DWORD* room) {
        return RegQueryValueExA(key.Get(), "T", nullptr, &type, to, room);
    };
    EXPECT_EQ(query(data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(data[0], 9);
    EXPECT_EQ(query(data, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_STREQ(reinterpret_cast<char*>(data), "four");
    EXPECT_EQ(data[5], 9);
    EXPECT_EQ(query(data, nullptr), ERROR_INVALID_PARAMETER);

    EXPECT_EQ(key.ReadText("X"), "a");
    EXPECT_EQ(key.ReadText("N"), std::nullopt);
    EXPECT_EQ(key.ReadNumber("X"), std::nullopt) << "four bytes, and no number";
    char text[5] = "old";
    EXPECT_TRUE(ReadText(key.Get(), "T", text));
    EXPECT_STREQ(text, "four");
    EXPECT_FALSE(ReadText(key.Get(), "T", text, 4));
    EXPECT_STREQ(text, "") << "too long counts as absent";
}

TEST_F(Registry, EnumeratesInTheOrderOfMakingAndPrunesWhatIsEmpty) {
    const CRegistryKey key = Create(HKEY_CURRENT_USER, "K");
    for (const char* name : {"zeta", "Alpha", "mid"}) {
        Create(key.Get(), name);
        WriteText(key.Get(), name, name);
    }
    EXPECT_EQ(key.Subkeys(), (Names{"zeta", "Alpha", "mid"}));
    char name[5];
    DWORD size = sizeof(name);
    const auto enumerate = [&](DWORD index) {
        return RegEnumKeyExA(key.Get(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(enumerate(1), ERROR_MORE_DATA) << "five letters and a zero";
    EXPECT_EQ(enumerate(2), ERROR_SUCCESS);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(enumerate(3), ERROR_NO_MORE_ITEMS);

    Create(key.Get(), "deep\\deeper");
    PruneEmptyKeys(HKEY_CURRENT_USER, "K\\deep\\deeper\\gone");
    PruneEmptyKeys(HKEY_CURRENT_USER, "K\\mid");
    EXPECT_EQ(key.Subkeys(), (Names{"zeta", "Alpha"})) << "its own values keep the key";
}

TEST_F(Registry, DeletesTreesAndTellsOpenKeys) {
    const CRegistryKey key = Create(HKEY_CURRENT_USER, "K");
    CRegistryKey below = Create(key.Get(), "A\\B");
    EXPECT_EQ(RegDeleteTreeA(key.Get(), "none"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteTreeA(key.Get(), "a"), ERROR_SUCCESS);
    EXPECT_EQ(Query(below.Get(), "T"), ERROR_KEY_DELETED);
    EXPECT_EQ(below.WriteText("T", "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteTreeA(below.Get(), "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(CRegistryKey().Open(below.Get(), ""), ERROR_KEY_DELETED);
    Create(key.Get(), "A\\B");
    EXPECT_EQ(below.WriteText("T", "again"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteTreeA(key.Get(), nullptr), ERROR_SUCCESS);
    EXPECT_TRUE(key.IsEmpty()) << "and still there";
    EXPECT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "\\"), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, HoldsAKeyToTheAccessItWasOpenedFor) {
    const CRegistryKey key = Create(HKEY_CURRENT_USER, "K");
    CRegistryKey reader = Open(key.Get(), "", KEY_READ);
    CRegistryKey writer = Open(key.Get(), "", KEY_WRITE);
    EXPECT_EQ(writer.WriteText("T", "y"), ERROR_SUCCESS);
    EXPECT_EQ(Query(writer.Get(), "T"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(reader.ReadText("T"), "y");
    EXPECT_EQ(reader.WriteText("T", "z"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteTreeA(reader.Get(), nullptr), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, RefusesWildAndClosedKeys) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K").Get();  // closed by now
    const CHandle event(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    int local = 0;
    for (const HKEY wild : {key, HKEY{}, HKEY{&local}, HKEY{event.Get()}}) {
        EXPECT_EQ(Query(wild, "T"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(WriteText(wild, "T", "x"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(CRegistryKey().Open(wild, "K"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegCloseKey(wild), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS) << "roots stay open";
}

TEST_F(Registry, RefusesWhatTheFileCannotHold) {
    CRegistryKey key = Create(HKEY_CURRENT_USER, "K");
    std::string deep;
    for (int i = 0; i < 512; ++i)
        deep += "k\\";
    EXPECT_EQ(CRegistryKey().Create(HKEY_CURRENT_USER, deep), ERROR_SUCCESS);
    const std::string before = ReadWholeFile(RegistryPath());
    for (const std::string& path :
         {std::string(256, 'k'), deep + "k", std::string("line\nbreak"), std::string("\xFF")})
        EXPECT_EQ(CRegistryKey().Create(HKEY_CURRENT_USER, path), ERROR_INVALID_PARAMETER) << path;
    EXPECT_EQ(key.WriteText("a\tb", "x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.WriteText("T", std::string(1 << 20, 'x')), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
}

TEST_F(Registry, NeverOverwritesAFileThatIsNone) {
    WriteWholeFile(RegistryPath(), kTitle + "[HKEY_CURRENT_USER\\K]\n\"T\"=no\n");
    const std::string before = ReadWholeFile(RegistryPath());
    std::string told;
    LONG inHook = 0;
    const auto former = SetDebugStringHook([&](LPCSTR text) {
        told += text;
        inHook = Query(HKEY_CURRENT_USER, "T");  // a log may come back here
    });
    EXPECT_EQ(CRegistryKey().Open(HKEY_CURRENT_USER, "K"), ERROR_BADDB);
    EXPECT_EQ(WriteText(HKEY_CURRENT_USER, "T", "x"), ERROR_BADDB);
    SetDebugStringHook(former);
    EXPECT_EQ(told.find(RegistryPath() + ":3:"), 0u) << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << "told once";
    EXPECT_EQ(inHook, ERROR_BADDB);
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
}

TEST_F(Registry, SeesEveryChangeByAnEditorAtOnce) {
    CRegistryKey key;
    DWORD number = 0;
    using std::chrono::hours;
    const auto now = fs::file_time_type::clock::now();
    // At the end the same time and size for another text: a clock of coarse steps tells nothing.
    for (const auto age : {hours(2), hours(1), hours(-1), hours(-1)}) {
        ++number;
        WriteWholeFile(RegistryPath(), kTitle + "[HKEY_CURRENT_USER\\K]\n\"N\"=dword:" +
                                           std::to_string(number) + '\n');
        fs::last_write_time(RegistryPath(), now - age);
        if (!key.Get())
            key = Open(HKEY_CURRENT_USER, "K", KEY_READ);
        for (int again = 0; again < 2; ++again)
            EXPECT_EQ(key.ReadNumber("N"), number);
    }
    fs::remove(RegistryPath());
    EXPECT_EQ(Query(key.Get(), "N"), ERROR_KEY_DELETED);
}

TEST_F(Registry, ShowsTheValuesOfTheProcessAheadOfTheFile) {
    CRegistryKey key = Create(HKEY_LOCAL_MACHINE, "K");
    key.WriteText("Both", "file");
    const auto process = [](HKEY root, const char* path, const char* name) {
        return RegSetProcessValue(root, path, name, REG_SZ, "process", 7);
    };
    EXPECT_EQ(process(HKEY_LOCAL_MACHINE, "K", "both"), ERROR_SUCCESS);
    EXPECT_EQ(process(HKEY_LOCAL_MACHINE, "K\\Own", "Only"), ERROR_SUCCESS);
    EXPECT_EQ(key.ReadText("Both"), "process");
    EXPECT_EQ(key.Subkeys(), Names{"Own"});

    CRegistryKey own = Open(key.Get(), "own");
    EXPECT_EQ(own.WriteText("Kept", "file"), ERROR_SUCCESS) << "makes the key in the file";
    EXPECT_EQ(ReadWholeFile(RegistryPath()).find("process"), std::string::npos);
    RegClearProcessValues();
    EXPECT_EQ(key.ReadText("Both"), "file");
    EXPECT_EQ(own.ReadText("Only"), std::nullopt);
    EXPECT_EQ(own.ReadText("Kept"), "file");
}

TEST_F(Registry, FindsItsFileByTheEnvironment) {
    constexpr const char* kCases[][4] = {
        {"/n/r.reg", "/c", "/h", "/n/r.reg"},
        {"", "/c", "/h", "/c/nvqdrv/registry.reg"},
        {"", "relative", "/h", "/h/.config/nvqdrv/registry.reg"},
        {"", "", "", ""},
    };
    const std::string before = RegistryPath();
    for (const auto& [named, config, home, file] : kCases) {
        setenv("NVQ_REGISTRY", named, 1);
        setenv("XDG_CONFIG_HOME", config, 1);
        setenv("HOME", home, 1);
        EXPECT_EQ(platform::RegistryFileName(), file);
    }
    setenv("NVQ_REGISTRY", before.c_str(), 1);
}

}  // namespace
