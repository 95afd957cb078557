#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/event_pipe.h"
#include "platform/passing_file.h"
#include "platform/unique_handle.h"
#include "tests/platform/test_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;

CHandle Open(const std::string& name, DWORD disposition, DWORD access = kBoth) {
    return CHandle(
        CreateFileA(name.c_str(), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::string NewName() {
    static int number = 0;
    return TestFolder() + "/file" + std::to_string(++number);
}

void Write(const CHandle& file, const char* text) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::strlen(text));
    EXPECT_TRUE(WriteFile(file.Get(), text, size, &written, nullptr));
    EXPECT_EQ(written, size);
}

LONG Error() {
    return static_cast<LONG>(GetLastError());
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
    };
    for (const auto& c : kCases) {
        fs::remove(name);
        if (c.there)
            WriteWholeFile(name, "old");
        const CHandle file = Open(name, c.disposition);
        EXPECT_EQ(Error(), c.error) << c.disposition << c.there;
        EXPECT_EQ(static_cast<bool>(file), c.content != nullptr) << c.disposition << c.there;
        if (c.content) {
            EXPECT_EQ(ReadWholeFile(name), c.content) << c.disposition << c.there;
        }
    }
    EXPECT_FALSE(Open(TestFolder() + "/none/x", CREATE_ALWAYS));
    EXPECT_EQ(Error(), ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(Open(TestFolder(), OPEN_EXISTING, GENERIC_READ)) << "a folder is no file";
}

TEST(File, ReadsWritesAppendsAndHoldsToItsAccess) {
    const std::string name = NewName();
    const CHandle file = Open(name, CREATE_ALWAYS);
    Write(file, "0123456789");
    char text[16] = {};
    DWORD read = 99;
    EXPECT_TRUE(ReadFile(file.Get(), text, 4, &read, nullptr));
    EXPECT_EQ(read, 0u) << "at the end";
    const CHandle reader = Open(name, OPEN_EXISTING, GENERIC_READ);
    EXPECT_FALSE(WriteFile(reader.Get(), "x", 1, &read, nullptr));
    EXPECT_EQ(Error(), ERROR_ACCESS_DENIED);
    const CHandle appender = Open(name, OPEN_ALWAYS, FILE_APPEND_DATA);
    SetFilePointer(file.Get(), 0, nullptr, FILE_BEGIN);
    Write(appender, "+");
    Write(file, "abc");
    Write(appender, "-");
    EXPECT_EQ(ReadWholeFile(name), "abc3456789+-");
    EXPECT_FALSE(ReadFile(appender.Get(), text, 1, &read, nullptr));
    EXPECT_TRUE(DeleteFileA(name.c_str())) << "also while it is open";
}

TEST(File, SeeksBeyondFourGigabytesAndNeverBelowZero) {
    const CHandle file = Open(NewName(), CREATE_ALWAYS);
    LONG high = 1;
    EXPECT_EQ(SetFilePointer(file.Get(), 5, &high, FILE_BEGIN), 5u);
    EXPECT_TRUE(SetEndOfFile(file.Get()));
    EXPECT_EQ(SetFilePointer(file.Get(), -5, nullptr, FILE_END), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(Error(), ERROR_INVALID_PARAMETER) << "nothing takes the high part";
    DWORD sizeHigh = 0;
    EXPECT_EQ(GetFileSize(file.Get(), &sizeHigh), 5u);
    EXPECT_EQ(sizeHigh, 1u);
    high = -1;
    EXPECT_EQ(SetFilePointer(file.Get(), -7, &high, FILE_END), 0xFFFFFFFEu);
    EXPECT_EQ(high, 0);
    EXPECT_EQ(SetFilePointer(file.Get(), -1, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(Error(), ERROR_NEGATIVE_SEEK);
}

HANDLE Map(const CHandle& file, DWORD size) {
    return CreateFileMappingA(file.Get(), nullptr, PAGE_READWRITE, 0, size, nullptr);
}

TEST(Mapping, LivesAsLongAsItsViewAndFillsTheHolesOfItsFile) {
    const std::string name = NewName();
    CHandle file = Open(name, CREATE_ALWAYS);
    EXPECT_EQ(Map(file, 0), nullptr);
    EXPECT_EQ(Error(), ERROR_FILE_INVALID) << "empty";
    Write(file, "abc");
    CHandle mapping(Map(file, 70000));
    EXPECT_EQ(Map(Open(name, OPEN_EXISTING, GENERIC_READ), 0), nullptr);
    EXPECT_EQ(Error(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 65536, 70001 - 65536), nullptr);
    EXPECT_EQ(Error(), ERROR_ACCESS_DENIED) << "a byte more than there is";
    auto* view = static_cast<char*>(MapViewOfFile(mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    mapping = {};
    file = {};
    view[1] = 'X';
    view[69999] = 'Y';
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
    EXPECT_EQ(ReadWholeFile(name), std::string("aXc") + std::string(69996, '\0') + 'Y');
    struct stat status = {};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, 70000);
}

TEST(TemporaryName, IsFreeAndItsFileMade) {
    char folder[MAX_PATH];
    const DWORD size = GetTempPathA(sizeof(folder), folder);
    EXPECT_EQ(std::string(folder, size), TestFolder() + "/");
    char first[MAX_PATH];
    char second[MAX_PATH];
    EXPECT_NE(GetTempFileNameA(folder, "nvqXYZ", 0, first), 0u);
    EXPECT_NE(GetTempFileNameA(folder, "nvq", 0, second), 0u);
    EXPECT_STRNE(first, second);
    EXPECT_EQ(std::string(first).find(TestFolder() + "/nvq"), 0u);
    EXPECT_EQ(fs::status(first).permissions(), fs::perms(0600));
    EXPECT_EQ(GetTempFileNameA(std::string(250, 'x').c_str(), "ab", 1, first), 0u);
    EXPECT_EQ(Error(), ERROR_BUFFER_OVERFLOW);
}

TEST(EventPipe, IsMadeOnceAndTakesNoFileForOne) {
    const std::string path = NewName();
    EXPECT_FALSE(SendEventByte(path.c_str(), 1));
    EXPECT_EQ(Error(), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(MakeEventPipe(path.c_str()) && MakeEventPipe(path.c_str()));
    EXPECT_FALSE(SendEventByte(path.c_str(), 1));
    EXPECT_EQ(Error(), ERROR_BROKEN_PIPE) << "nobody listens";
    const std::string plain = NewName();
    WriteWholeFile(plain, "kept");
    EXPECT_FALSE(MakeEventPipe(plain.c_str()) || SendEventByte(plain.c_str(), 1));
    EXPECT_EQ(ReadWholeFile(plain), "kept");
}

// ---- Passing files

std::vector<std::string> NamesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    return names;
}

TEST(PassingFile, TakesItsPlaceWholeAndLeavesNothingBeside) {
    const std::string folder = NewName();
    const std::string target = folder + "/file";
    const std::string link = folder + "/link";
    WriteWholeFile(target, "old");
    fs::permissions(target, fs::perms(0640));
    fs::create_symlink(target, link);
    for (const auto name : {CPassingFile::Name::Unique, CPassingFile::Name::Beside}) {
        const std::string before = ReadWholeFile(target);
        {
            CPassingFile given(link, name);
            ASSERT_FALSE(given.Create());
            std::fputs("half", given.Stream());
        }
        EXPECT_EQ(ReadWholeFile(target), before);
        EXPECT_FALSE(StoreFile(link, before + "+", {.name = name}));
        EXPECT_EQ(ReadWholeFile(target), before + "+");
    }
    EXPECT_TRUE(fs::is_symlink(link)) << "the file behind it was replaced";
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0640)) << "its rights are kept";
    EXPECT_EQ(NamesIn(folder).size(), 2u);
    EXPECT_FALSE(StoreFile(folder + "/own", "", {.rights = 0600}));
    EXPECT_EQ(fs::status(folder + "/own").permissions(), fs::perms(0600));

    EXPECT_EQ(StoreFile(folder, "x"), std::errc::is_a_directory);
    EXPECT_EQ(StoreFile("/dev/null", "x"), std::errc::invalid_argument);
    EXPECT_EQ(ErrorNumber(StoreFile(folder + "/none/x", "x")), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(ErrorNumber({}), ERROR_SUCCESS);
}

TEST(PassingFile, WhatAKilledProgramLeftIsTakenAwayAndNothingElse) {
    const std::string folder = NewName();
    fs::create_directory(folder);
    CPassingFile atWork(folder + "/other");
    ASSERT_FALSE(atWork.Create());
    const std::string claimed = NamesIn(folder).at(0);
    const std::string old = folder + "/.nvqscan-2.tmp";
    for (const char* left : {"/.nvqscan-out-1.tmp", "/.nvqscan-2.tmp", "/.nvqscan-3.tmp", "/kept"})
        WriteWholeFile(folder + left, "");
    fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::hours(2));
    EXPECT_FALSE(StoreFile(folder + "/file", "x"));
    std::vector<std::string> names = NamesIn(folder);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".nvqscan-3.tmp", claimed, "file", "kept"}));
}

TEST(PassingFile, ManyWritersLeaveOneWholeFile) {
    const std::string target = NewName() + "/file";
    WriteWholeFile(target, std::string(5000, 'a'));
    std::atomic<int> failures{0};
    std::vector<std::thread> writers;
    for (const char mark : {'a', 'b', 'c', 'd'}) {
        writers.emplace_back([&, mark] {
            for (int i = 0; i < 50; ++i) {
                failures += StoreFile(target, std::string(5000, mark)) ? 1 : 0;
                const std::string seen = ReadWholeFile(target);
                failures += seen != std::string(5000, seen.at(0));
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(NamesIn(fs::path(target).parent_path()).size(), 1u);
}

}  // namespace
