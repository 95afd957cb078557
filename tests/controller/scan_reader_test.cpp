#include "controller/scan_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <vector>

#include "tests/controller/scan_reader_rig.h"

namespace {

TEST(ScanReader, AsksForAsManyWholeLinesAsFitInto64K) {
    struct Case {
        DWORD bytesPerLine, lines;
        std::vector<DWORD> asked;
    };
    const Case cases[] = {
        {3000, 10, {30000}},        {3000, 50, {63000, 63000, 24000}},
        {3000, 42, {63000, 63000}}, {32768, 5, {65536, 65536, 32768}},
        {32769, 2, {32769, 32769}}, {65536, 2, {65536, 65536}},
        {65537, 2, {65537, 65537}}, {70000, 4, {70000, 70000, 70000, 70000}},
        {1, 65537, {65536, 1}},     {3000, 0, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.lines << " lines of " << c.bytesPerLine);
        CRig rig;
        g_allocations.clear();
        EXPECT_EQ(rig.TakePage(c.bytesPerLine, c.lines, 0, 0), Page(c.bytesPerLine * c.lines));
        rig.ExpectNothingMore(0, 0);
        rig.reader.Shutdown();
        EXPECT_EQ(rig.device.m_asked, c.asked);
        EXPECT_EQ(rig.device.m_begins, 1);
        const DWORD bufferBytes = std::max(65536 / c.bytesPerLine, 1u) * c.bytesPerLine;
        EXPECT_EQ(g_allocations, std::vector<std::size_t>(3, bufferBytes));
    }
}

TEST(ScanReader, HandsOutAllThatCameBeforeTheMediaEnded) {
    for (const DWORD status : {15u, 102u}) {
        for (const HRESULT result : {S_OK, E_FAIL}) {
            for (const std::size_t call : {0u, 1u, 2u, 5u}) {
                for (const DWORD bytes : {0u, 100u, 4500u, kAsAsked}) {
                    SCOPED_TRACE(testing::Message() << status << " with " << bytes << " bytes");
                    CRig rig;
                    rig.device.m_script[call] = {bytes, status, result};
                    const std::size_t total = call * 63000 + (bytes == kAsAsked ? 63000 : bytes);
                    EXPECT_EQ(rig.TakePage(3000, 1000, 1, 15), Page(total));
                    rig.ExpectNothingMore(1, 15);
                    rig.reader.Shutdown();
                    EXPECT_EQ(rig.device.m_asked.size(), call + 1);
                }
            }
        }
    }
}

TEST(ScanReader, ReportsTheDeviceErrorOfAnyReadAndThenReadsTheNextPage) {
    using Answer = CScriptedDevice::Answer;
    for (const Answer failure :
         {Answer{kAsAsked, 7, E_FAIL}, Answer{0, 7, S_OK}, Answer{2999, 7, S_OK},
          Answer{kAsAsked, 0, E_FAIL}, Answer{2999, 0, S_OK}}) {
        for (std::size_t call = 0; call < 6; ++call) {
            SCOPED_TRACE(testing::Message() << "read " << call << ", status " << failure.status);
            CScriptedDevice next;
            CRig rig;
            rig.device.m_script[call] = failure;
            const auto page = rig.TakePage(3000, 1000, 1, failure.status);
            EXPECT_LE(page.size(), call * 63000);
            EXPECT_EQ(page, Page(page.size()));
            rig.ExpectNothingMore(1, failure.status);
            EXPECT_EQ(rig.device.m_asked.size(), call + 1);
            EXPECT_EQ(rig.TakePage(next, 3000, 30, 0, 0), Page(90000));
        }
    }
    CRig rig;
    rig.device.m_begin = {0, 12, E_FAIL};
    rig.ExpectNothing(rig.Open(100, 3000, 10), 1, 12);
    rig.ExpectNothingMore(1, 12);
    rig.reader.Shutdown();
    EXPECT_TRUE(rig.device.m_asked.empty());
}

TEST(ScanReader, BelievesNoDeviceThatClaimsMoreThanWasAskedFor) {
    for (const DWORD claim : {63001u, 126000u, 0xFFFFFFFFu}) {
        CRig rig;
        for (std::size_t call = 0; call < 4; ++call)
            rig.device.m_script[call].bytes = claim;
        EXPECT_EQ(rig.TakePage(3000, 70, 0, 0), Page(210000));
        rig.reader.Shutdown();
        EXPECT_EQ(rig.device.m_asked, (std::vector<DWORD>{63000, 63000, 63000, 21000}));
    }
    CRig rig;
    rig.device.m_script[1] = {0xFFFFFFFFu, 15, S_OK};
    EXPECT_EQ(rig.TakePage(3000, 70, 1, 15), Page(126000));
}

TEST(ScanReader, ReadsThreeBuffersAheadAndNoMore) {
    std::atomic<std::size_t> drained = 0;  // buffers that the consumer may have given back
    CRig rig;
    rig.device.m_onRead = [&](std::size_t call) { EXPECT_LT(call, 3 + drained); };
    Got got = rig.Open(1, 3000, 210);  // ten buffers
    for (int call = 0; call < 3; ++call)
        rig.device.m_entered.Pass();
    for (std::size_t buffer = 0; buffer < 10; ++buffer) {
        got = rig.GoOn(62998);
        EXPECT_EQ(got.bytes.size(), 62998u);
        ++drained;
        got = rig.GoOn(63000);
        EXPECT_EQ(got.bytes, std::vector<BYTE>{PageByte(buffer * 63000 + 62999)})
            << "a call is served from one buffer";
        if (buffer < 7)
            rig.device.m_entered.Pass();
        if (buffer < 9)
            got = rig.GoOn(1);
    }
    rig.ExpectNothingMore(0, 0);
}

// How one side waits for the other.
enum class Pace { Free, DeviceFirst, ConsumerFirst };

// A page with short and long reads, worked out ahead of the scan.
struct Plan {
    DWORD bytesPerLine;
    DWORD lines;
    std::vector<DWORD> asked;
    std::vector<std::size_t> ends;  // bytes that have come when a read is over
    bool mediaEnds = false;

    Plan(std::mt19937& random, CScriptedDevice& device) {
        constexpr DWORD kLengths[] = {1, 7, 1000, 3000, 21845, 32769, 65535, 65536, 65537, 70001};
        const auto upTo = [&](std::size_t most) { return random() % (most + 1); };
        bytesPerLine = kLengths[upTo(std::size(kLengths) - 1)];
        lines = static_cast<DWORD>(1 + upTo(400000 / bytesPerLine));
        const DWORD most = std::max(65536 / bytesPerLine, 1u);
        std::size_t total = 0;
        for (DWORD left = lines; left > 0 && !mediaEnds;) {
            asked.push_back(std::min(most, left) * bytesPerLine);
            CScriptedDevice::Answer& answer = device.m_script[asked.size() - 1];
            mediaEnds = upTo(15) == 0;
            if (mediaEnds)
                answer = {static_cast<DWORD>(upTo(asked.back())), upTo(1) ? 15u : 102u, S_OK};
            else if (upTo(3) != 0)
                answer = {asked.back(), 0, S_OK};
            else
                answer = {static_cast<DWORD>(bytesPerLine + upTo(asked.back() - bytesPerLine)), 0,
                          S_OK};
            total += answer.bytes;
            ends.push_back(total);
            left -= answer.bytes / bytesPerLine;
        }
    }
    bool LastReadHasBytes() const {
        return ends.back() > (ends.size() > 1 ? ends[ends.size() - 2] : 0);
    }
    // Reads whose bytes are all among the first `bytes`.
    std::size_t ReadsWithin(std::size_t bytes) const {
        return static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), bytes) -
                                        ends.begin());
    }
};

void ScanAtPace(Pace pace, unsigned seed) {
    SCOPED_TRACE(testing::Message() << "pace " << static_cast<int>(pace) << ", seed " << seed);
    std::mt19937 random(seed);
    CGate allowed;                         // reads that the device may do
    std::atomic<std::size_t> drained = 0;  // buffers that the consumer may have given back
    CRig rig;
    const Plan plan(random, rig.device);
    std::size_t granted = 0;
    std::size_t entered = 0;
    rig.device.m_onRead = [&](std::size_t call) {
        EXPECT_LT(call, 3 + drained);
        if (pace == Pace::ConsumerFirst)
            allowed.Pass();
    };
    const std::size_t portion = 1 + random() % (plan.ends.back() < 30000 ? 300 : 90000);
    std::vector<BYTE> page;
    WORD phase = kScanReadOpen;
    for (;;) {
        const auto wanted = static_cast<DWORD>(1 + random() % portion);
        drained = plan.ReadsWithin(page.size() + wanted);
        // The device has nothing but what the consumer has gone through, and is let on only as the
        // consumer is about to ask: the consumer waits.
        for (; granted < plan.ends.size() && granted <= plan.ReadsWithin(page.size()); ++granted)
            allowed.Open();
        // The consumer comes back only when the device can't get further ahead.
        const std::size_t ahead = std::min(plan.ends.size(), 3 + plan.ReadsWithin(page.size()));
        while (pace == Pace::DeviceFirst && phase != kScanReadOpen && entered < ahead) {
            rig.device.m_entered.Pass();
            ++entered;
        }
        const Got got = rig.Consume(phase, wanted, &rig.device, plan.bytesPerLine, plan.lines);
        phase = 0;
        if (got.bytes.empty()) {
            rig.ExpectNothing(got, plan.mediaEnds ? 1 : 0, plan.mediaEnds ? 15 : 0);
            break;
        }
        EXPECT_EQ(got.result, 1);
        EXPECT_TRUE(got.status == 0 || (plan.mediaEnds && got.status == 15));
        page.insert(page.end(), got.bytes.begin(), got.bytes.end());
        ASSERT_LE(page.size(), plan.ends.back());
        if (plan.mediaEnds && plan.LastReadHasBytes() && page.size() == plan.ends.back()) {
            EXPECT_EQ(got.status, 15u) << "known before the buffer came";
        }
    }
    rig.reader.Shutdown();
    EXPECT_EQ(page, Page(plan.ends.back()));
    EXPECT_EQ(rig.device.m_asked, plan.asked);
}

TEST(ScanReader, DeliversEachByteOnceAndInOrderAtAnyPace) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        for (const Pace pace : {Pace::Free, Pace::DeviceFirst, Pace::ConsumerFirst})
            ScanAtPace(pace, seed);
    }
}

// The device comes back from its read only when it was told to end. Two more buffers are free then.
TEST(ScanReader, EndsBehindTheReadThatAQuitFinds) {
    CGate quit;
    CRig rig;
    rig.device.m_onRead = [&](std::size_t call) {
        if (call == 1)
            quit.Pass();
    };
    EXPECT_EQ(rig.Open(63000, 3000, 1000).bytes.size(), 63000u);
    rig.device.m_entered.Pass();
    rig.device.m_entered.Pass();
    g_onSetEvent = [&] { quit.Open(); };
    rig.reader.Shutdown();
    g_onSetEvent = nullptr;
    EXPECT_EQ(rig.device.m_asked.size(), 2u);
    rig.ExpectNothingMore(0, 0);
}

TEST(ScanReader, ANewPageEndsTheOneBeforeWhereverItStands) {
    CGate quit;
    CScriptedDevice second, third;
    second.m_session = 2;
    second.m_begin.status = 9;  // means nothing, as the call succeeds
    second.m_onRead = [&](std::size_t call) {
        if (call != 1)
            return;
        quit.Pass();
        EXPECT_GT(second.m_references, 0) << "let go in the middle of its read";
    };
    third.m_session = 3;
    CRig rig;
    // One buffer is half taken, two wait, the thread waits for a free one.
    rig.Open(100, 3000, 1000);
    for (int call = 0; call < 3; ++call)
        rig.device.m_entered.Pass();
    EXPECT_EQ(rig.Open(second, 10, 70000, 5).bytes, Page(10));
    EXPECT_EQ(rig.device.m_asked.size(), 3u);
    EXPECT_EQ(rig.device.m_references, 0);
    // The thread is in a read.
    second.m_entered.Pass();
    second.m_entered.Pass();
    g_onSetEvent = [&] { quit.Open(); };
    EXPECT_EQ(rig.TakePage(third, 1000, 300, 0, 0), Page(300000));
    g_onSetEvent = nullptr;
    EXPECT_EQ(second.m_asked.size(), 2u);
    EXPECT_EQ(second.m_references, 0);
}

// The next number that the system gives for a handle: the same again, when all were closed.
int NextDescriptor() {
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
}

TEST(ScanReader, BeginsNothingWithoutAllOfItsHandles) {
    constexpr int kHandles = 5;  // two semaphores, two events, a thread
    for (int failing = 0; failing < kHandles; ++failing) {
        CRig rig;
        const int next = NextDescriptor();
        g_handlesMade = 0;
        g_failHandle = failing;
        const Got got = rig.Open(100, 3000, 30);
        g_failHandle = -1;
        rig.ExpectNothing(got, 1, 2);
        rig.ExpectNothingMore(0, 0);
        EXPECT_EQ(rig.device.m_begins, 0);
        EXPECT_EQ(NextDescriptor(), next);
        g_handlesMade = 0;
        EXPECT_EQ(rig.TakePage(3000, 30, 0, 0), Page(90000));
        EXPECT_EQ(g_handlesMade, kHandles);
    }
}

TEST(ScanReader, BeginsNothingWithoutMemoryForThreeBuffers) {
    CRig rig;
    for (std::size_t failing = 0; failing < 3; ++failing) {
        g_allocations.clear();
        g_failAllocation = failing;
        rig.ExpectNothing(rig.Open(100, 3000, 30), 1, 2);
        g_failAllocation = SIZE_MAX;
    }
    for (const DWORD bytesPerLine : {0x80000000u, 0xFFFFFFFFu}) {
        g_allocations.clear();
        rig.ExpectNothing(rig.Open(100, bytesPerLine, 0xFFFFFFFFu), 1, 2);
        EXPECT_EQ(g_allocations, std::vector<std::size_t>{bytesPerLine}) << "not a smaller one";
    }
    EXPECT_EQ(rig.device.m_begins, 0);
    EXPECT_EQ(rig.TakePage(3000, 30, 0, 0), Page(90000));
}

TEST(ScanReader, AnswersThoughThereIsNothingToRead) {
    CRig rig;
    rig.ExpectNothingMore(0, 0);
    rig.reader.Shutdown();
    rig.ExpectNothingMore(0, 0);
    rig.device.m_script[0] = {100, 15, S_OK};
    rig.TakePage(3000, 30, 1, 15);
    for (const DWORD lines : {0u, 30u}) {
        rig.ExpectNothing(rig.Open(100, 0, lines), 1, 2);
        rig.ExpectNothingMore(0, 0);  // the 15 was the page's before
        rig.ExpectNothing(rig.Consume(kScanReadOpen, 100, nullptr, 3000, lines), 1, 2);
    }
    EXPECT_EQ(rig.device.m_begins, 1);
    CRig stopped;
    stopped.Open(100, 3000, 1000);
    stopped.reader.Shutdown();
    stopped.ExpectNothingMore(0, 0);
}

}  // namespace
