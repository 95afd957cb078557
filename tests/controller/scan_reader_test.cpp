#include "controller/scan_reader.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "tests/controller/scan_reader_rig.h"
#include "tests/support/failing_allocation.h"

namespace {

using Answer = CScriptedDevice::Answer;

TEST(ScanReader, AsksForAsManyWholeLinesAsFitInto64K) {
    struct Case {
        DWORD bytesPerLine, lines;
        std::vector<DWORD> asked;
    };
    const Case cases[] = {
        {3000, 10, {30000}},        {3000, 50, {63000, 63000, 24000}}, {3000, 42, {63000, 63000}},
        {32769, 2, {32769, 32769}}, {65537, 2, {65537, 65537}},        {1, 65537, {65536, 1}},
    };
    for (const Case& c : cases) {
        CRig rig;
        TakeAllocatedBytes();
        EXPECT_EQ(rig.TakePage(c.bytesPerLine, c.lines, 0, 0), Page(c.bytesPerLine * c.lines));
        rig.reader.Shutdown();
        EXPECT_EQ(rig.device.m_asked, c.asked);
        EXPECT_EQ(rig.device.m_begins, 1);
        EXPECT_EQ(TakeAllocatedBytes(),
                  std::size_t{std::max(65536 / c.bytesPerLine, 1u)} * c.bytesPerLine * 3);
    }
}

TEST(ScanReader, HandsOutAllThatCameBeforeItsEndAndThenReadsTheNextPage) {
    const struct {
        Answer end;
        DWORD status;
        std::size_t most;  // bytes of the last read; those ahead of a failure may be lost
    } cases[] = {
        {{0, 15, E_FAIL}, 15, 0},      {{100, 102}, 15, 100}, {{kAsAsked, 15}, 15, 63000},
        {{63001, 15}, 15, 63000},  // what claims more than was asked for has not given more
        {{kAsAsked, 7, E_FAIL}, 7, 0}, {{2999, 7}, 7, 0},     {{9, 0, E_FAIL}, 0, 0},
    };
    for (const auto& c : cases) {
        for (const std::size_t call : {0u, 1u, 5u}) {
            CScriptedDevice next;
            CRig rig;
            rig.device.m_script[call] = c.end;
            const auto page = rig.TakePage(3000, 1000, 1, c.status);
            EXPECT_LE(page.size(), call * 63000 + c.most);
            EXPECT_TRUE(c.status != 15 || page.size() == call * 63000 + c.most);
            EXPECT_EQ(page, Page(page.size()));
            EXPECT_EQ(rig.device.m_asked.size(), call + 1);
            EXPECT_EQ(rig.TakePage(3000, 30, 0, 0, &next), Page(90000));
        }
    }
    CRig rig;
    rig.device.m_begin = {0, 12, E_FAIL};
    EXPECT_TRUE(rig.TakePage(3000, 10, 1, 12).empty());
    EXPECT_TRUE(rig.device.m_asked.empty());
}

// A page with short and long reads. The consumer comes as it likes, or only when the device has
// probably got as far ahead as it can.
class ScanReaderPace : public testing::TestWithParam<unsigned> {};

TEST_P(ScanReaderPace, DeliversEachByteOnceAndInOrder) {
    constexpr DWORD kLengths[] = {1, 1000, 3000, 21845, 32769, 65535, 65536, 65537, 70001};
    std::mt19937 random(GetParam());
    const auto upTo = [&](DWORD most) { return static_cast<DWORD>(random() % (most + 1)); };
    CRig rig;
    const DWORD bytesPerLine = kLengths[upTo(std::size(kLengths) - 1)];
    const DWORD lines = 1 + upTo(400000 / bytesPerLine);
    std::vector<DWORD> asked;
    std::size_t bytes = 0;
    bool mediaEnds = false;
    for (DWORD left = lines; left > 0 && !mediaEnds;) {
        const DWORD whole = std::min(std::max(65536 / bytesPerLine, 1u), left) * bytesPerLine;
        mediaEnds = upTo(15) == 0;
        Answer& answer = rig.device.m_script[asked.size()];
        answer.bytes = mediaEnds      ? upTo(whole)
                       : upTo(3) == 0 ? bytesPerLine + upTo(whole - bytesPerLine)
                                      : whole;
        answer.status = mediaEnds ? 15 : 0;
        asked.push_back(whole);
        bytes += answer.bytes;
        left -= answer.bytes / bytesPerLine;
    }
    std::vector<BYTE> page;
    for (auto got = rig.Open(&rig.device, 1, bytesPerLine, lines); !got.bytes.empty();
         got = rig.GoOn(1 + upTo(90000))) {
        page.insert(page.end(), got.bytes.begin(), got.bytes.end());
        if (GetParam() % 2 == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    CRig::ExpectNothing(rig.GoOn(1), mediaEnds ? 1 : 0, mediaEnds ? 15 : 0);
    rig.reader.Shutdown();
    EXPECT_EQ(page, Page(bytes));
    EXPECT_EQ(rig.device.m_asked, asked);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ScanReaderPace, testing::Range(0u, 20u));

// Of the page before, a buffer is half taken, two wait, and the thread waits for a free one; or the
// thread is in a read, from which the device comes back late.
TEST(ScanReader, ANewPageEndsTheOneBeforeWhereverItStands) {
    CScriptedDevice second, third;
    second.m_begin.status = 9;  // means nothing, as the call succeeds
    second.m_onRead = [&](std::size_t call) {
        if (call != 1)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_GT(second.m_references, 0) << "let go in the middle of its read";
    };
    CRig rig;
    rig.Open(&rig.device, 100, 3000, 1000);
    for (int call = 0; call < 3; ++call)
        rig.device.AwaitRead();
    EXPECT_EQ(rig.Open(&second, 10, 70000, 5).bytes, Page(10));
    EXPECT_EQ(rig.device.m_asked.size(), 3u);
    EXPECT_EQ(rig.device.m_references, 0);
    second.AwaitRead();
    second.AwaitRead();
    EXPECT_EQ(rig.TakePage(1000, 300, 0, 0, &third), Page(300000));
    rig.Open(&third, 100, 3000, 1000);
    rig.reader.Shutdown();
    CRig::ExpectNothing(rig.GoOn(100), 0, 0);
}

// The next number that the system gives for a handle: the same again, when all were closed.
rlim_t NextDescriptor() {
    const int next = dup(STDERR_FILENO);
    close(next);
    return static_cast<rlim_t>(next);
}

TEST(ScanReader, BeginsNothingWithoutAllThatItNeeds) {
    CRig rig;
    CRig::ExpectNothing(rig.GoOn(100), 0, 0);
    for (std::size_t failing = 1; failing <= 3; ++failing) {
        const CFailingAllocation fails(failing, false);
        CRig::ExpectNothing(rig.Open(&rig.device, 100, 3000, 30), 1, kScanNotStarted);
    }
    const rlim_t next = NextDescriptor();
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    for (rlim_t room = 0; room < 5; ++room) {  // two semaphores, two events, a thread
        const rlimit narrow = {next + room, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &narrow);
        CRig::ExpectNothing(rig.Open(&rig.device, 100, 3000, 30), 1, kScanNotStarted);
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(NextDescriptor(), next) << room;
    }
    CRig::ExpectNothing(rig.Open(&rig.device, 100, 0, 30), 1, kScanNotStarted);
    CRig::ExpectNothing(rig.Open(nullptr, 100, 3000, 30), 1, kScanNotStarted);
    EXPECT_EQ(rig.device.m_begins, 0);
    EXPECT_EQ(rig.TakePage(3000, 30, 0, 0), Page(90000));
}

}  // namespace
