// The threshold stage: its attributes, its bits, and the histogram that places it.

#include <gtest/gtest.h>

#include "stages/threshold.h"
#include "tests/support/stage_rig.h"

namespace {

constexpr std::int32_t kStart = 28160;

struct Threshold : StageTest<CThresholdStage> {
    Threshold() {
        m_board.Put(QL_ATTR_OUTPUT_TYPE, 0);
        m_board.Put(QL_ATTR_INVERT, 0);
        m_board.Hear({QL_ATTR_THRESHOLD_LEVEL, QL_ATTR_THRESHOLD_HIST});
    }
    void Set(std::int32_t id, std::int32_t value) { m_board.SetValue(id, IntegerWord(value)); }
    std::int32_t Get(std::int32_t id = QL_ATTR_THRESHOLD) { return m_board.GetInteger(id); }

    // A pass over gray lines; the bits that come.
    Bytes Pass(std::size_t width, const Samples& samples, std::int32_t block = 4) {
        return RunLines(m_stage, QL_PIXEL_GRAY16, width, BytesOf(samples), QL_LAYOUT_INTERNAL,
                        block)
            .m_bytes;
    }
    // Where the automatic threshold comes to lie for runs of equal samples.
    std::int32_t Auto(const std::vector<std::pair<std::size_t, std::uint16_t>>& runs) {
        Samples samples;
        for (const auto& [count, value] : runs)
            samples.insert(samples.end(), count, value);
        m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
        Pass(samples.size(), samples);
        return Get();
    }
};

TEST_F(Threshold, IsHeldTurnedRoundAndSetByPresetsAndDefault) {
    for (const std::uint64_t invert : {0, 1}) {
        m_board.Put(QL_ATTR_INVERT, invert);
        for (const auto& [written, held] : {std::pair{-5, 0}, {70000, 65535}, {10000, 10000}}) {
            Set(QL_ATTR_THRESHOLD, written);
            EXPECT_EQ(Get(), held) << written;
        }
    }
    m_board.Put(QL_ATTR_INVERT, 0);
    EXPECT_EQ(Get(), 55535) << "what is stored";
    for (const auto& [preset, threshold] :
         {std::pair{1, 39424}, {2, 33792}, {3, kStart}, {4, 23467}, {5, 20114}, {6, 20114}}) {
        Set(QL_ATTR_THRESHOLD_PRESET, preset);
        EXPECT_EQ(Get(), threshold) << preset;
    }
    Set(QL_ATTR_THRESHOLD_DEFAULT, 40000);
    EXPECT_EQ(Get(), 20114) << "stored, but not in force";
    m_board.Notify(QL_ATTR_THRESHOLD_DEFAULT);
    EXPECT_EQ(Get(), 40000);
}

TEST_F(Threshold, BitsAreStrictlyAboveItForTheBilevelTypes) {
    const Samples line = {kStart - 1, kStart, kStart + 1};
    for (const auto& [output, type] : {std::pair{0, 24u}, {1, 26u}, {2, 19u}, {3, 19u}, {4, 19u}}) {
        m_board.Put(QL_ATTR_OUTPUT_TYPE, IntegerWord(output));
        EXPECT_EQ(Pass(3, line), output < 2 ? Bytes{0x20} : BytesOf(line)) << output;
        EXPECT_EQ(m_stage.GetOutputFormat()->m_pixelType, type) << output;
        EXPECT_EQ(AskColor(m_stage, line), output < 2 ? (Samples{0, 65535, 65535}) : line)
            << "equal counts as white here";
    }
}

TEST_F(Threshold, AutomaticLiesBetweenTheEndsOfTheHistogram) {
    // 200 pixels: the ends hold trunc(4.5) = 4. (1000 x 51 + 60000 x 49) / 100.
    EXPECT_EQ(Auto({{10, 1000}, {180, 30000}, {10, 60000}}), 29910);
    EXPECT_EQ(Auto({{3, 1000}, {7, 2000}, {180, 30000}, {7, 50000}, {3, 60000}}), 25520);
    // Cut, not rounded: (1 x 51 + 3 x 49) / 100 = 1.98.
    EXPECT_EQ(Auto({{100, 1}, {100, 3}}), 1);
    // 1000 pixels: 2 percent are 20, half a percent 5. Of 5 dark and 5 very light pixels the first
    // look finds 50000, beyond the default; the second finds both: (2000 x 51 + 65000 x 49) / 100.
    EXPECT_EQ(Auto({{5, 2000}, {990, 50000}, {5, 65000}}), 32870);
    // The dark end at the default itself is not beyond it: 20 pixels count at both ends.
    EXPECT_EQ(Auto({{6, 2000}, {500, 28160}, {488, 50000}, {6, 65000}}), 38861);
    EXPECT_EQ(Auto({{6, 2000}, {500, 28161}, {488, 50000}, {6, 65000}}), 32870);
    // More than a hundred pixels are needed.
    Set(QL_ATTR_THRESHOLD_DEFAULT, 30000);
    EXPECT_EQ(Auto({{50, 1000}, {50, 60000}}), 30000);
    EXPECT_EQ(Auto({{50, 1000}, {51, 60000}}), 29910);
}

TEST_F(Threshold, OnlyPixelsOfTheRectangleCountOnceForARequest) {
    // 20 x 20 pixels, black but for an island: lines 3 to 13, columns 2 to 12.
    Samples lines(400, 0);
    for (std::size_t y = 3; y <= 13; ++y)
        std::fill_n(lines.begin() + static_cast<std::ptrdiff_t>(20 * y + 2), 11,
                    std::uint16_t{20000});
    Set(QL_ATTR_THRESHOLD_COLLECT, 1);
    // The island, all of it inclusive; beyond the image, where there is nothing; empty; and none.
    for (const auto& [rect, threshold, pixels] : {std::tuple{QLRect{3, 2, 13, 12}, 20000, 121},
                                                  {QLRect{-5, -5, 100, 100}, 9800, 400},
                                                  {QLRect{5, 9, 100, 3}, kStart, 0}}) {
        m_board.SetValue(QL_ATTR_THRESHOLD_RECT, PointerWord(&rect));
        m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
        Pass(20, lines, 3);
        EXPECT_EQ(Get(), threshold);
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD_LEVEL), pixels);
    }
    Set(QL_ATTR_THRESHOLD_RECT, 0);
    m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
    EXPECT_EQ(Pass(20, lines)[10], 0x00) << "20000 is dark yet";
    EXPECT_EQ(Get(), 9800);
    Set(QL_ATTR_THRESHOLD, 1);
    EXPECT_EQ(Pass(20, lines)[10], 0xF8);
    EXPECT_EQ(Get(), 1) << "one request, one analysis";
}

TEST_F(Threshold, ACompletePassPublishesTheCoarseHistogram) {
    // 16 samples a bin; 65535 falls into the last of 4096.
    Set(QL_ATTR_THRESHOLD_COLLECT, 1);
    Pass(2, {0, 15, 16, 17, 65535, 65520}, 1);
    EXPECT_EQ(m_board.Heard(), (Ids{QL_ATTR_THRESHOLD_LEVEL, QL_ATTR_THRESHOLD_HIST}));
    const auto* bins = WordPointer<const std::uint32_t>(m_board.GetValue(QL_ATTR_THRESHOLD_HIST));
    EXPECT_EQ((Ids{Get(QL_ATTR_THRESHOLD_LEVEL), static_cast<int>(bins[0]),
                   static_cast<int>(bins[1]), static_cast<int>(bins[4095])}),
              (Ids{6, 2, 2, 2}));
}

}  // namespace
