// Memory that runs out while a profile is read and its tables are loaded.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string>

#include "platform/com.h"
#include "profile/scan_attrib.h"

namespace {

constexpr int kNever = -1;
int g_left = kNever;     // allocations until one fails
bool g_forGood = false;  // and all behind it
int g_made = 0;

bool MayAllocate() {
    ++g_made;
    if (g_left == kNever || g_left-- > 0)
        return true;
    g_left = g_forGood ? 0 : kNever;
    return false;
}

}  // namespace

// Only those that tell of their failure by a null pointer are made to fail. Inlined, the compiler
// would see malloc's memory go to delete.
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return MayAllocate() ? std::malloc(bytes) : nullptr;
}
[[gnu::noinline]] void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return MayAllocate() ? std::malloc(bytes) : nullptr;
}
[[gnu::noinline]] void* operator new(std::size_t bytes) {
    void* memory = std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void* operator new[](std::size_t bytes) {
    return operator new(bytes);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

const std::string kText =
    "FB\n2 0 0 0 1 0 0 0 1\nEXCLUSION_AREAS\n1\n1 2 3 4 5\nJPEG_QFACTOR_24\n1\n100 1 50\n";

// What of the text has reached its table: 1 the matrix, 2 the areas, 4 the rows.
int LoadAll() {
    const CScanAttrib attrib("Model", "", kText.c_str(), static_cast<std::uint32_t>(kText.size()));
    ScanMatrix matrix;
    attrib.getFlatbedMatrix(matrix);
    EXPECT_TRUE(matrix.m_values[0] == 2 || matrix.m_values[0] == 1);
    EXPECT_EQ(matrix.m_values[8], 1);
    std::uint32_t areaCount = 9;
    std::uint32_t rowCount = 9;
    ExclusionArea* areas = nullptr;
    JpegRow* rows = nullptr;
    attrib.getExclusionAreas(areaCount, areas);
    attrib.getJpegTable24(rowCount, rows);
    EXPECT_EQ(areaCount, areas ? 1u : 0u);
    EXPECT_EQ(rowCount, rows ? 1u : 0u);
    const int loaded = (matrix.m_values[0] == 2) + 2 * (areas != nullptr) + 4 * (rows != nullptr);
    CoTaskMemFree(areas);
    CoTaskMemFree(rows);
    return loaded;
}

TEST(ProfileMemory, EveryFailureLeavesTablesThatStand) {
    setenv("NVQ_REGISTRY", (testing::TempDir() + "none" + std::to_string(getpid())).c_str(), 1);
    setenv("XDG_DATA_HOME", "/nonexistent", 1);
    g_made = 0;
    ASSERT_EQ(LoadAll(), 7);
    const int allocations = g_made;
    ASSERT_GE(allocations, 6) << "two logs, text, device, resource, lists";
    bool isListLost = false;
    for (g_forGood = false;; g_forGood = true) {
        for (int n = 0; n < allocations; ++n) {
            g_left = n;
            const int loaded = LoadAll();
            isListLost |= loaded == 5 || loaded == 3;
            g_left = kNever;
            EXPECT_EQ(LoadAll(), 7) << "after failure " << n;
        }
        if (g_forGood)
            break;
    }
    EXPECT_TRUE(isListLost) << "a list without memory is empty, and its neighbours aren't";
}

}  // namespace
