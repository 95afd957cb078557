#include "platform/event_pipe.h"

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/unique_handle.h"
#include "tests/platform/test_folder.h"

namespace {

TEST(EventPipe, CarriesABytePerEventToWhoListens) {
    const std::string path = TestFolder() + "/port";
    EXPECT_FALSE(SendEventByte(path.c_str(), 1));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    ASSERT_TRUE(MakeEventPipe(path.c_str()));
    EXPECT_TRUE(MakeEventPipe(path.c_str())) << "one that is there will do";
    EXPECT_FALSE(SendEventByte(path.c_str(), 1));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BROKEN_PIPE)) << "nobody listens";

    const CHandle listener(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_TRUE(SendEventByte(path.c_str(), 4));
    EXPECT_TRUE(SendEventByte(path.c_str(), 0));
    BYTE bytes[3] = {9, 9, 9};
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(listener.Get(), bytes, sizeof(bytes), &read, nullptr));
    EXPECT_EQ(read, 2u);
    EXPECT_EQ(bytes[0], 4);
    EXPECT_EQ(bytes[1], 0);

    const std::string plain = TestFolder() + "/plain";
    WriteWholeFile(plain, "kept");
    EXPECT_FALSE(MakeEventPipe(plain.c_str())) << "no file is taken for a pipe";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_FALSE(SendEventByte(plain.c_str(), 1));
    EXPECT_EQ(ReadWholeFile(plain), "kept");
}

}  // namespace
