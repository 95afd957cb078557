#include "platform/registry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "platform/handle.h"
#include "platform/module.h"
#include "platform/internal/registry_file.h"
#include "platform/sync.h"
#include "tests/platform/test_folder.h"

namespace {

namespace fs = std::filesystem;

const std::string kTitle = "Windows Registry Editor Version 5.00\n";

class Registry : public testing::Test {
  protected:
    void SetUp() override { ForgetRegistry(); }
    void TearDown() override { RegClearProcessValues(); }
};

HKEY Open(HKEY parent, const char* path, REGSAM access = KEY_ALL_ACCESS) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(parent, path, 0, access, &key), ERROR_SUCCESS) << path;
    return key;
}

HKEY Create(HKEY parent, const char* path, DWORD* disposition = nullptr) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                              nullptr, &key, disposition),
              ERROR_SUCCESS)
        << path;
    return key;
}

LONG SetText(HKEY key, const char* name, const std::string& text) {
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1));
}

LONG SetNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof(number));
}

LONG Query(HKEY key, const char* name) {
    return RegQueryValueExA(key, name, nullptr, nullptr, nullptr, nullptr);
}

// "(error)" if there is none.
std::string GetText(HKEY key, const char* name) {
    char text[256];
    DWORD size = sizeof(text);
    DWORD type = 0;
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    return error == ERROR_SUCCESS && type == REG_SZ && size > 0 ? std::string(text, size - 1)
                                                                : "(error)";
}

DWORD GetNumber(HKEY key, const char* name) {
    DWORD number = 0xDEAD;
    DWORD size = sizeof(number);
    RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
    return number;
}

std::vector<std::string> SubkeysOf(HKEY key) {
    std::vector<std::string> names;
    char name[256];
    for (DWORD size = sizeof(name);
         RegEnumKeyExA(key, static_cast<DWORD>(names.size()), name, &size, nullptr, nullptr,
                       nullptr, nullptr) == ERROR_SUCCESS;
         size = sizeof(name))
        names.emplace_back(name, size);
    return names;
}

std::vector<std::string> ValuesOf(HKEY key) {
    std::vector<std::string> names;
    char name[256];
    for (DWORD size = sizeof(name);
         RegEnumValueA(key, static_cast<DWORD>(names.size()), name, &size, nullptr, nullptr,
                       nullptr, nullptr) == ERROR_SUCCESS;
         size = sizeof(name))
        names.emplace_back(name, size);
    return names;
}

using Names = std::vector<std::string>;

TEST_F(Registry, MakesItsFolderForTheUserOnlyAndKeepsWhatIsSet) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Vendor", 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(fs::exists(RegistryPath())) << "reading makes nothing";
    DWORD disposition = 0;
    key = Create(HKEY_CURRENT_USER, "Software\\Vendor", &disposition);
    EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
    EXPECT_EQ(SetText(key, "Model", "C:\\x"), ERROR_SUCCESS);
    EXPECT_EQ(SetText(key, nullptr, "default"), ERROR_SUCCESS);
    EXPECT_EQ(SetNumber(key, "Count", 42), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(ReadWholeFile(RegistryPath()), kTitle + R"(
[HKEY_CURRENT_USER\Software\Vendor]
"Model"="C:\\x"
@="default"
"Count"=dword:0000002a
)");
    struct stat status = {};
    ASSERT_EQ(stat(fs::path(RegistryPath()).parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_EQ(stat(RegistryPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    key = Create(HKEY_CURRENT_USER, "software\\VENDOR\\", &disposition);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    EXPECT_EQ(GetText(key, "model"), "C:\\x");
    EXPECT_EQ(GetText(key, ""), "default");
    EXPECT_EQ(GetNumber(key, "COUNT"), 42u);
    RegCloseKey(key);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Vendor", 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND)
        << "each root has keys of its own";
}

TEST_F(Registry, TellsTypeAndSizeAndFillsOnlyWhatFits) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K");
    SetText(key, "T", "four");
    BYTE data[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(key, "T", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(size, 5u);
    size = 4;
    EXPECT_EQ(RegQueryValueExA(key, "T", nullptr, &type, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(data[0], 9);
    EXPECT_EQ(RegQueryValueExA(key, "T", nullptr, nullptr, data, &size), ERROR_SUCCESS);
    EXPECT_STREQ(reinterpret_cast<char*>(data), "four");
    EXPECT_EQ(data[5], 9);
    EXPECT_EQ(RegQueryValueExA(key, "T", nullptr, nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(key, "none", nullptr, nullptr, data, &size), ERROR_FILE_NOT_FOUND);
    // A text that is set without its zero gets it.
    EXPECT_EQ(RegSetValueExA(key, "T", 0, REG_SZ, data, 2), ERROR_SUCCESS);
    EXPECT_EQ(GetText(key, "T"), "fo");
    RegCloseKey(key);
}

TEST_F(Registry, EnumeratesInTheOrderOfMaking) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K");
    for (const char* name : {"zeta", "Alpha", "mid"}) {
        RegCloseKey(Create(key, name));
        SetText(key, name, name);
    }
    SetText(key, "ZETA", "longest of them");
    EXPECT_EQ(SubkeysOf(key), (Names{"zeta", "Alpha", "mid"}));
    EXPECT_EQ(ValuesOf(key), (Names{"zeta", "Alpha", "mid"}));
    DWORD subkeys = 0, longestSubkey = 0, values = 0, longestName = 0, longestValue = 0;
    EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &subkeys, &longestSubkey, nullptr,
                               &values, &longestName, &longestValue, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(subkeys, 3u);
    EXPECT_EQ(longestSubkey, 5u);
    EXPECT_EQ(values, 3u);
    EXPECT_EQ(longestName, 5u);
    EXPECT_EQ(longestValue, 16u);

    char name[5];
    DWORD nameSize = sizeof(name);
    EXPECT_EQ(RegEnumKeyExA(key, 1, name, &nameSize, nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    EXPECT_EQ(RegEnumKeyExA(key, 2, name, &nameSize, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(nameSize, 3u);
    EXPECT_EQ(RegEnumKeyExA(key, 3, name, &nameSize, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
    BYTE data[3];
    DWORD size = sizeof(data);
    nameSize = sizeof(name);
    EXPECT_EQ(RegEnumValueA(key, 2, name, &nameSize, nullptr, nullptr, data, &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 4u) << "with the zero";
    EXPECT_EQ(nameSize, sizeof(name)) << "the same arguments serve again";
    RegCloseKey(key);
}

TEST_F(Registry, DeletesValuesAndTreesAndTellsOpenKeys) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K");
    const HKEY below = Create(key, "A\\B");
    SetText(below, "T", "x");
    SetText(key, "T", "x");
    EXPECT_EQ(RegDeleteValueA(key, "t"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueA(key, "t"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteTreeA(key, "none"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteTreeA(key, "a"), ERROR_SUCCESS);
    EXPECT_TRUE(SubkeysOf(key).empty());

    char name[8];
    DWORD size = sizeof(name);
    HKEY other = nullptr;
    EXPECT_EQ(Query(below, "T"), ERROR_KEY_DELETED);
    EXPECT_EQ(SetText(below, "T", "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteValueA(below, "T"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteTreeA(below, "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegEnumKeyExA(below, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    EXPECT_EQ(RegOpenKeyExA(below, nullptr, 0, KEY_READ, &other), ERROR_KEY_DELETED);
    EXPECT_EQ(other, nullptr);
    RegCloseKey(Create(key, "A\\B"));
    EXPECT_EQ(SetText(below, "T", "again"), ERROR_SUCCESS);

    EXPECT_EQ(RegDeleteTreeA(key, nullptr), ERROR_SUCCESS);
    EXPECT_TRUE(SubkeysOf(key).empty()) << "emptied, and still there";
    for (const char* path : {"", "\\"})
        EXPECT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, path), ERROR_ACCESS_DENIED);
    RegCloseKey(below);
    RegCloseKey(key);
}

TEST_F(Registry, HoldsAKeyToTheAccessItWasOpenedFor) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K");
    SetText(key, "T", "x");
    const HKEY reader = Open(key, nullptr, KEY_READ);
    const HKEY writer = Open(key, "", KEY_WRITE);
    char name[8];
    DWORD size = sizeof(name);
    EXPECT_EQ(GetText(reader, "T"), "x");
    EXPECT_EQ(SetText(reader, "T", "y"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(reader, "T"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteTreeA(reader, nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(SetText(writer, "T", "y"), ERROR_SUCCESS);
    EXPECT_EQ(Query(writer, "T"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegEnumKeyExA(writer, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_ACCESS_DENIED);
    for (const HKEY open : {reader, writer, key})
        RegCloseKey(open);
}

TEST_F(Registry, RefusesWildAndClosedKeys) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K");
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    int local = 0;
    for (const HKEY wild : {key, HKEY{}, HKEY{&local}, HKEY{event}, INVALID_HANDLE_VALUE}) {
        HKEY other = nullptr;
        EXPECT_EQ(Query(wild, "T"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(SetText(wild, "T", "x"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegOpenKeyExA(wild, "K", 0, KEY_READ, &other), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegCloseKey(wild), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS) << "roots stay open";
    EXPECT_TRUE(CloseHandle(event));
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "K", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, RefusesWhatTheFileCannotHold) {
    const HKEY key = Create(HKEY_CURRENT_USER, "K");
    std::string deep;
    for (int i = 0; i < 512; ++i)
        deep += "k\\";
    const auto create = [](const std::string& path) {
        HKEY made = nullptr;
        const LONG error = RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0,
                                           KEY_ALL_ACCESS, nullptr, &made, nullptr);
        RegCloseKey(made);
        return error;
    };
    EXPECT_EQ(create(deep), ERROR_SUCCESS);
    const std::string before = ReadWholeFile(RegistryPath());
    for (const std::string& path :
         {std::string(256, 'k'), deep + "k", std::string("line\nbreak"), std::string("\xFF")})
        EXPECT_EQ(create(path), ERROR_INVALID_PARAMETER) << path;
    EXPECT_EQ(SetText(key, "a\tb", "x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SetText(key, "T", std::string(1 << 20, 'x')), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegSetValueExA(key, "B", 0, REG_BINARY, nullptr, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
    RegCloseKey(key);
}

TEST_F(Registry, NeverOverwritesAFileThatIsNone) {
    WriteWholeFile(RegistryPath(), kTitle + "[HKEY_CURRENT_USER\\K]\n\"T\"=no\n");
    const std::string before = ReadWholeFile(RegistryPath());
    std::string told;
    DWORD inHook = 0;
    const auto former = SetDebugStringHook([&](LPCSTR text) {
        told += text;
        inHook = static_cast<DWORD>(Query(HKEY_CURRENT_USER, "T"));  // a log may come back here
    });
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "K", 0, KEY_READ, &key), ERROR_BADDB);
    EXPECT_EQ(SetText(HKEY_CURRENT_USER, "T", "x"), ERROR_BADDB);
    EXPECT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "K"), ERROR_BADDB);
    SetDebugStringHook(former);
    EXPECT_EQ(told.find(RegistryPath() + ":3:"), 0u) << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << "told once";
    EXPECT_EQ(inHook, static_cast<DWORD>(ERROR_BADDB));
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);

    fs::remove(RegistryPath());
    fs::create_directory(RegistryPath());
    EXPECT_EQ(Query(HKEY_CURRENT_USER, "T"), ERROR_BADDB) << "a folder is no file";
    EXPECT_EQ(SetText(HKEY_CURRENT_USER, "T", "x"), ERROR_BADDB);
}

TEST_F(Registry, SeesEveryChangeByAnEditorAtOnce) {
    HKEY key = nullptr;
    int number = 0;
    const auto write = [](int n, fs::file_time_type time) {
        WriteWholeFile(RegistryPath(),
                       kTitle + "[HKEY_CURRENT_USER\\K]\n\"N\"=dword:" + std::to_string(n) + '\n');
        fs::last_write_time(RegistryPath(), time);
    };
    const auto now = fs::file_time_type::clock::now();
    for (const auto time :
         {now - std::chrono::hours(2), now - std::chrono::hours(1),
          // The same file of the same size: a clock of coarse steps tells nothing.
          now + std::chrono::hours(1), now + std::chrono::hours(1)}) {
        write(++number, time);
        if (!key)
            key = Open(HKEY_CURRENT_USER, "K", KEY_READ);
        for (int again = 0; again < 2; ++again)
            EXPECT_EQ(GetNumber(key, "N"), static_cast<DWORD>(number));
    }
    fs::remove(RegistryPath());
    EXPECT_EQ(Query(key, "N"), ERROR_KEY_DELETED);
    RegCloseKey(key);
}

TEST_F(Registry, ChangesTheFileBehindALinkAndKeepsItsRights) {
    const std::string target = TestFolder() + "/elsewhere.reg";
    WriteWholeFile(target, kTitle);
    fs::permissions(target, fs::perms(0640));
    fs::create_directories(fs::path(RegistryPath()).parent_path());
    fs::create_symlink(target, RegistryPath());
    EXPECT_EQ(SetNumber(HKEY_CURRENT_USER, "N", 7), ERROR_SUCCESS);
    EXPECT_TRUE(fs::is_symlink(RegistryPath()));
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0640));
    EXPECT_EQ(GetNumber(HKEY_CURRENT_USER, "N"), 7u);
    EXPECT_FALSE(fs::exists(target + ".new"));
}

TEST_F(Registry, ShowsTheValuesOfTheProcessAheadOfTheFile) {
    const HKEY key = Create(HKEY_LOCAL_MACHINE, "K");
    SetText(key, "Both", "file");
    SetText(key, "File", "file");
    const auto process = [](const char* path, const char* name) {
        return RegSetProcessValue(HKEY_LOCAL_MACHINE, path, name, REG_SZ, "process", 7);
    };
    EXPECT_EQ(process("K", "both"), ERROR_SUCCESS);
    EXPECT_EQ(process("K\\Own", "Only"), ERROR_SUCCESS);
    EXPECT_EQ(RegSetProcessValue(key, "K", "T", REG_SZ, "", 1), ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetText(key, "Both"), "process");
    EXPECT_EQ(GetText(key, "File"), "file");
    EXPECT_EQ(ValuesOf(key), (Names{"both", "File"}));
    EXPECT_EQ(SubkeysOf(key), Names{"Own"});
    EXPECT_EQ(ReadWholeFile(RegistryPath()).find("process"), std::string::npos);

    const HKEY own = Open(key, "own");
    EXPECT_EQ(SetText(own, "Kept", "file"), ERROR_SUCCESS) << "makes the key in the file";
    RegClearProcessValues();
    EXPECT_EQ(GetText(key, "Both"), "file");
    EXPECT_EQ(ValuesOf(own), Names{"Kept"});
    EXPECT_EQ(RegDeleteTreeA(key, "Own"), ERROR_SUCCESS);
    EXPECT_EQ(Query(own, "Kept"), ERROR_KEY_DELETED);
    RegCloseKey(own);
    RegCloseKey(key);
}

TEST_F(Registry, FindsItsFileByTheEnvironment) {
    const std::string former = RegistryPath();
    const struct {
        const char* named;
        const char* config;
        const char* home;
        const char* file;
    } kCases[] = {
        {"/n/r.reg", "/c", "/h", "/n/r.reg"},
        {"", "/c", "/h", "/c/nvqdrv/registry.reg"},
        {"", "relative", "/h", "/h/.config/nvqdrv/registry.reg"},
        {"", "", "/h", "/h/.config/nvqdrv/registry.reg"},
        {"", "", "", ""},
    };
    const char* home = std::getenv("HOME");
    const std::string formerHome = home ? home : "";
    for (const auto& c : kCases) {
        setenv("NVQ_REGISTRY", c.named, 1);
        setenv("XDG_CONFIG_HOME", c.config, 1);
        setenv("HOME", c.home, 1);
        EXPECT_EQ(platform::RegistryFileName(), c.file);
    }
    setenv("NVQ_REGISTRY", former.c_str(), 1);
    setenv("HOME", formerHome.c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
