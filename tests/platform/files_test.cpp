#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "tests/platform/test_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;

HANDLE Open(const std::string& name, DWORD disposition, DWORD access = kBoth) {
    return CreateFileA(name.c_str(), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

std::string NewName() {
    static int number = 0;
    return TestFolder() + "/file" + std::to_string(++number);
}

void Write(HANDLE file, const char* text) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::strlen(text));
    EXPECT_TRUE(WriteFile(file, text, size, &written, nullptr));
    EXPECT_EQ(written, size);
}

DWORD Error() {
    return GetLastError();
}

TEST(File, DispositionDecidesWhatIsMadeOpenedAndEmptied) {
    const std::string name = NewName();
    const struct {
        DWORD disposition;
        bool there;
        LONG error;           // of a failure, or told with success
        const char* content;  // of a file that held "old"; null for a failure
    } kCases[] = {
        {CREATE_NEW, false, ERROR_SUCCESS, ""},
        {CREATE_NEW, true, ERROR_FILE_EXISTS, nullptr},
        {CREATE_ALWAYS, false, ERROR_SUCCESS, ""},
        {CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, ""},
        {OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, nullptr},
        {OPEN_EXISTING, true, ERROR_SUCCESS, "old"},
        {OPEN_ALWAYS, false, ERROR_SUCCESS, ""},
        {OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, "old"},
        {TRUNCATE_EXISTING, false, ERROR_FILE_NOT_FOUND, nullptr},
        {TRUNCATE_EXISTING, true, ERROR_SUCCESS, ""},
    };
    for (const auto& c : kCases) {
        fs::remove(name);
        if (c.there)
            WriteWholeFile(name, "old");
        const HANDLE file = Open(name, c.disposition);
        EXPECT_EQ(Error(), static_cast<DWORD>(c.error)) << c.disposition << c.there;
        EXPECT_EQ(file != INVALID_HANDLE_VALUE, c.content != nullptr) << c.disposition << c.there;
        if (c.content) {
            EXPECT_EQ(ReadWholeFile(name), c.content) << c.disposition << c.there;
            EXPECT_TRUE(CloseHandle(file));
        }
    }
    EXPECT_EQ(Open(TestFolder() + "/none/x", CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(Open(TestFolder(), OPEN_EXISTING, GENERIC_READ), INVALID_HANDLE_VALUE);
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(File, ReadsWritesAndHoldsToItsAccess) {
    const std::string name = NewName();
    const HANDLE file = Open(name, CREATE_ALWAYS);
    Write(file, "0123456789");
    char text[16] = {};
    DWORD read = 99;
    EXPECT_TRUE(ReadFile(file, text, 4, &read, nullptr));
    EXPECT_EQ(read, 0u) << "at the end";
    EXPECT_EQ(SetFilePointer(file, -3, nullptr, FILE_END), 7u);
    EXPECT_TRUE(ReadFile(file, text, 16, &read, nullptr));
    EXPECT_EQ(std::string(text, read), "789");
    EXPECT_FALSE(ReadFile(file, text, 1, nullptr, nullptr));
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_FALSE(ReadFile(file, text, 1, &read, nullptr));
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    const HANDLE reader = Open(name, OPEN_EXISTING, GENERIC_READ);
    EXPECT_FALSE(WriteFile(reader, "x", 1, &read, nullptr));
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(DeleteFileA(name.c_str())) << "also while it is open";
    EXPECT_FALSE(DeleteFileA(name.c_str()));
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(CloseHandle(reader));
}

TEST(File, SeeksBeyondFourGigabytesAndNeverBelowZero) {
    const HANDLE file = Open(NewName(), CREATE_ALWAYS);
    LONG high = 1;
    EXPECT_EQ(SetFilePointer(file, 5, &high, FILE_BEGIN), 5u);
    EXPECT_EQ(high, 1);
    EXPECT_EQ(SetFilePointer(file, -6, nullptr, FILE_CURRENT), 0xFFFFFFFFu);
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_INVALID_PARAMETER))
        << "nothing takes the high part";
    EXPECT_TRUE(SetEndOfFile(file));
    DWORD sizeHigh = 0;
    EXPECT_EQ(GetFileSize(file, &sizeHigh), 5u);
    EXPECT_EQ(sizeHigh, 1u);
    high = -1;
    EXPECT_EQ(SetFilePointer(file, -7, &high, FILE_CURRENT), 0xFFFFFFFEu);
    EXPECT_EQ(high, 0);
    EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
    EXPECT_TRUE(CloseHandle(file));
}

TEST(Mapping, ReachesTheFileAndLivesAsLongAsTheView) {
    const std::string name = NewName();
    const HANDLE file = Open(name, CREATE_ALWAYS);
    Write(file, "abc");
    const HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 70000, nullptr);
    ASSERT_NE(mapping, nullptr);
    auto* view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    const auto* tail = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 0));
    ASSERT_NE(tail, nullptr);
    EXPECT_TRUE(CloseHandle(mapping));
    EXPECT_TRUE(CloseHandle(file));
    view[1] = 'X';
    view[69999] = 'Y';
    EXPECT_EQ(tail[69999 - 65536], 'Y');
    EXPECT_TRUE(UnmapViewOfFile(tail));
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_INVALID_ADDRESS));
    const std::string content = ReadWholeFile(name);
    EXPECT_EQ(content.size(), 70000u);
    EXPECT_EQ(content.substr(0, 4), std::string("aXc\0", 4));
    EXPECT_EQ(content.back(), 'Y');
}

TEST(Mapping, TakesTheRoomOfAFileWithHoles) {
    const std::string name = NewName();
    const HANDLE file = Open(name, CREATE_ALWAYS);
    SetFilePointer(file, 1 << 20, nullptr, FILE_BEGIN);
    SetEndOfFile(file);
    const HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
    ASSERT_NE(mapping, nullptr);
    struct stat status = {};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 1 << 20);
    EXPECT_GE(status.st_blocks * 512, 1 << 20);
    EXPECT_TRUE(CloseHandle(mapping));
    EXPECT_TRUE(CloseHandle(file));
}

TEST(Mapping, RefusesWhatTheFileOrTheViewCannotGive) {
    const std::string name = NewName();
    WriteWholeFile(name, "abc");
    const HANDLE file = Open(name, OPEN_EXISTING, GENERIC_READ);
    const HANDLE empty = Open(NewName(), CREATE_ALWAYS);
    const auto map = [](HANDLE from, DWORD protect, DWORD size) {
        const HANDLE made = CreateFileMappingA(from, nullptr, protect, 0, size, nullptr);
        return made ? (CloseHandle(made), ERROR_SUCCESS) : static_cast<LONG>(Error());
    };
    EXPECT_EQ(map(file, PAGE_READONLY, 3), ERROR_SUCCESS);
    EXPECT_EQ(map(file, PAGE_READONLY, 4), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(map(file, PAGE_READWRITE, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(map(file, 1, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(map(empty, PAGE_READWRITE, 0), ERROR_FILE_INVALID);
    EXPECT_EQ(map(nullptr, PAGE_READWRITE, 0), ERROR_INVALID_HANDLE);
    const HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    const auto view = [&](DWORD access, DWORD offset, std::size_t size) {
        const LPVOID made = MapViewOfFile(mapping, access, 0, offset, size);
        return made ? (UnmapViewOfFile(made), ERROR_SUCCESS) : static_cast<LONG>(Error());
    };
    EXPECT_EQ(view(FILE_MAP_READ, 0, 3), ERROR_SUCCESS);
    EXPECT_EQ(view(FILE_MAP_READ, 0, 4), ERROR_ACCESS_DENIED);
    EXPECT_EQ(view(FILE_MAP_READ, 65536, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(view(FILE_MAP_READ, 1, 1), ERROR_MAPPED_ALIGNMENT);
    EXPECT_EQ(view(FILE_MAP_WRITE, 0, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(view(0, 0, 0), ERROR_INVALID_PARAMETER);
    for (const HANDLE handle : {mapping, file, empty})
        EXPECT_TRUE(CloseHandle(handle));
}

TEST(TemporaryName, IsFreeAndItsFileMade) {
    char folder[MAX_PATH];
    const DWORD size = GetTempPathA(sizeof(folder), folder);
    EXPECT_EQ(std::string(folder), TestFolder() + "/");
    EXPECT_EQ(size, std::strlen(folder));
    EXPECT_EQ(GetTempPathA(size, folder), size + 1) << "no room for the zero";
    char first[MAX_PATH];
    char second[MAX_PATH];
    EXPECT_NE(GetTempFileNameA(folder, "nvqXYZ", 0, first), 0u);
    EXPECT_NE(GetTempFileNameA(folder, "nvq", 0, second), 0u);
    EXPECT_STRNE(first, second);
    EXPECT_EQ(std::string(first).find(TestFolder() + "/nvq"), 0u);
    EXPECT_EQ(fs::status(first).permissions(), fs::perms(0600));
    EXPECT_EQ(GetTempFileNameA("/tmp", "ab", 0x12345, first), 0x12345u);
    EXPECT_STREQ(first, "/tmp/ab2345.TMP");
    EXPECT_EQ(GetTempFileNameA("/nowhere", "ab", 0, first), 0u);
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(GetTempFileNameA(std::string(250, 'x').c_str(), "ab", 1, first), 0u);
    EXPECT_EQ(Error(), static_cast<DWORD>(ERROR_BUFFER_OVERFLOW));
}

}  // namespace
