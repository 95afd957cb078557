#include "platform/known_folders.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/platform/test_folder.h"

namespace {

struct FolderResult {
    HRESULT result;
    std::string path;
    bool operator==(const FolderResult&) const = default;
};

FolderResult Folder(int number) {
    char path[MAX_PATH] = "dirt";
    const HRESULT result = SHGetFolderPathA(nullptr, number, nullptr, 0, path);
    return {result, path};
}

TEST(KnownFolders, LieWhereTheUserHasThem) {
    const CVariables kept({"HOME", "XDG_DATA_HOME", "XDG_DOCUMENTS_DIR"});
    const std::string home = TestFolder() + "/home";
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_DATA_HOME");
    unsetenv("XDG_DOCUMENTS_DIR");
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA), (FolderResult{S_FALSE, ""})) << "not there";
    EXPECT_FALSE(std::filesystem::exists(home));
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE).path, home + "/.local/share");
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA).result, S_OK) << "it has been made";
    EXPECT_EQ(Folder(CSIDL_PERSONAL | CSIDL_FLAG_CREATE).path, home + "/Documents");

    setenv("XDG_DATA_HOME", (home + "/data//").c_str(), 1);
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE).path, home + "/data");
    setenv("XDG_DATA_HOME", "relative", 1);
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA).path, home + "/.local/share");
    setenv("XDG_DOCUMENTS_DIR", (home + "/data").c_str(), 1);
    EXPECT_EQ(Folder(CSIDL_PERSONAL).path, home + "/data");

    setenv("XDG_DATA_HOME", "/dev/null/below", 1);
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE), (FolderResult{E_FAIL, ""}));
    setenv("XDG_DATA_HOME", ('/' + std::string(MAX_PATH, 'x')).c_str(), 1);
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA).result, E_FAIL);
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    EXPECT_EQ(Folder(CSIDL_LOCAL_APPDATA).result, E_FAIL);
    EXPECT_EQ(Folder(17).result, E_INVALIDARG);
    EXPECT_EQ(SHGetFolderPathA(nullptr, CSIDL_PERSONAL, nullptr, 0, nullptr), E_INVALIDARG);
}

}  // namespace
