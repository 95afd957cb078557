// The threshold stage: its attributes, its bits, and the histogram that places it.

#include "stages/threshold.h"

#include <gtest/gtest.h>

#include "tests/support/stage_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Log = std::vector<std::string>;
using Samples = std::vector<std::uint16_t>;

constexpr std::uint64_t kStartThreshold = 28160;

class Threshold : public testing::Test {
  protected:
    Threshold() {
        m_board.Provide(QL_ATTR_OUTPUT_TYPE, 0);
        m_board.Provide(QL_ATTR_INVERT, 0);
        m_stage = std::make_unique<CThresholdStage>(&m_tree);
        for (std::int32_t id = QL_ATTR_THRESHOLD; id <= QL_ATTR_THRESHOLD_CELL; ++id)
            m_ear.Subscribe(id);
    }

    void Set(std::int32_t id, std::uint64_t value) { EXPECT_TRUE(m_board.SetValue(id, value)); }
    void Set(std::int32_t id, int value) { Set(id, IntegerWord(value)); }
    std::uint64_t Get(std::int32_t id) { return m_board.GetValue(id); }
    // Values that are written are announced, too: only what follows a write counts here.
    Log Announced() { return std::exchange(m_log, {}); }

    // A pass over gray lines; the bits that come.
    Bytes Pass(std::int32_t width, const Samples& samples, std::int32_t blockLines = 4) {
        CLineSource source = GraySource(&m_tree, width, samples);
        const CPass pass = RunPass(source, *m_stage, blockLines);
        EXPECT_EQ(pass.m_read, QL_OK);
        m_stage->SetUpstream(nullptr);
        return pass.m_bytes;
    }
    // Where the automatic threshold comes to lie for runs of equal samples.
    std::uint64_t Auto(const std::vector<std::pair<std::size_t, std::uint16_t>>& runs) {
        Samples samples;
        for (const auto& [count, value] : runs)
            samples.insert(samples.end(), count, value);
        m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
        Pass(static_cast<std::int32_t>(samples.size()), samples);
        return Get(QL_ATTR_THRESHOLD);
    }

    QLAttribTree m_tree;
    Log m_log;
    CTestProvider m_board{&m_tree};
    CTestListener m_ear{&m_tree, &m_log, ""};
    std::unique_ptr<CThresholdStage> m_stage;
};

TEST_F(Threshold, IsHeldBetween0And65535) {
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), kStartThreshold);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_DEFAULT), kStartThreshold);
    constexpr struct {
        int written;
        std::uint64_t plain, inverted;
    } kCases[] = {{-5, 0, 0},
                  {70000, 65535, 65535},
                  {10000, 10000, 10000},
                  {0x7FFFFFFF, 65535, 65535},
                  {-0x7FFFFFFF - 1, 0, 0}};
    for (const auto& c : kCases) {
        Set(QL_ATTR_INVERT, 0);
        Set(QL_ATTR_THRESHOLD, c.written);
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD), c.plain) << c.written;
        Set(QL_ATTR_INVERT, 1);
        Set(QL_ATTR_THRESHOLD, c.written);
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD), c.inverted) << c.written;
    }
}

TEST_F(Threshold, InversionTurnsItsAttributeRoundAndIsAnnounced) {
    Announced();
    Set(QL_ATTR_INVERT, 2);
    EXPECT_EQ(Announced(), (Log{"20337"}));
    Set(QL_ATTR_THRESHOLD, 10000);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 10000u);
    Set(QL_ATTR_INVERT, 0);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 55535u) << "what is stored";
}

TEST_F(Threshold, PresetsAndDefaultAreTakenOverAndAnnounced) {
    constexpr std::uint64_t kPresets[] = {39424, 33792, 28160, 23467, 20114};
    for (int preset = 1; preset <= 5; ++preset) {
        Announced();
        Set(QL_ATTR_THRESHOLD_PRESET, preset);
        EXPECT_EQ(Announced(), (Log{"20337", "20339"}));
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD), kPresets[preset - 1]);
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD_PRESET), 0u);
    }
    for (const int other : {0, 6, -1}) {
        Set(QL_ATTR_THRESHOLD_PRESET, other);
        EXPECT_EQ(Announced(), (Log{"20339"})) << "the write itself";
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 20114u);
    }
    Set(QL_ATTR_THRESHOLD_DEFAULT, 70000);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_DEFAULT), 65535u);
    Set(QL_ATTR_THRESHOLD_DEFAULT, 40000);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 20114u) << "stored, but not in force";
    Announced();
    m_board.Notify(QL_ATTR_THRESHOLD_DEFAULT);
    EXPECT_EQ(Announced(), (Log{"20337", "20338"}));
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 40000u);
}

TEST_F(Threshold, KeepsTheCellForItsReaders) {
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_CELL), 1u);
    Set(QL_ATTR_THRESHOLD_CELL, 7);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_CELL), 1u) << "without a source";
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_COLLECT), 1u) << "in any case";
    m_board.Provide(QL_ATTR_SOURCE_PRESENT, 1);
    constexpr struct {
        int written;
        std::uint64_t cell, collect;
    } kCases[] = {{7, 7, 1}, {0, 1, 0}, {5, 1, 1}, {256, 256, 0}};
    for (const auto& c : kCases) {
        Set(QL_ATTR_THRESHOLD_CELL, c.written);
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD_CELL), c.cell) << c.written;
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD_COLLECT), c.collect) << c.written;
    }
    m_board.Provide(QL_ATTR_HALFTONE_CELL, 9);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_CELL), 9u);
    Set(QL_ATTR_HALFTONE_CELL, 0);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_CELL), 1u);
}

TEST_F(Threshold, TheOutputTypeDecidesWhetherAndHow) {
    constexpr struct {
        int output;
        std::uint32_t type;
        Bytes::size_type bytes;
    } kCases[] = {{0, 24, 1}, {1, 26, 1}, {2, 19, 6}, {3, 19, 6}, {4, 19, 6}};
    for (const auto& c : kCases) {
        Set(QL_ATTR_OUTPUT_TYPE, c.output);
        EXPECT_EQ(Pass(3, {0xFFFF, 0, 0xFFFF}).size(), c.bytes) << c.output;
        EXPECT_EQ(m_stage->GetOutputFormat()->m_pixelType, c.type) << c.output;
        EXPECT_EQ(m_stage->IsActive(), c.output < 2);
    }
    // A stage that is made when the type stands already takes it over.
    Set(QL_ATTR_OUTPUT_TYPE, 1);
    m_stage = std::make_unique<CThresholdStage>(&m_tree);
    Pass(1, {0});
    EXPECT_EQ(m_stage->GetOutputFormat()->m_pixelType, 26u);
}

TEST_F(Threshold, ABitIsOneStrictlyAboveTheThreshold) {
    constexpr std::uint16_t t = kStartThreshold;
    EXPECT_EQ(Pass(3, {t - 1, t, t + 1}), (Bytes{0x20}));
    EXPECT_EQ(Pass(8, {65535, 0, 0, 0, 0, 0, 0, 65535}), (Bytes{0x81}));
    // 20 pixels: the last four in the high bits of a third byte.
    Samples wide(20, 0);
    for (const std::size_t x : {0, 7, 8, 15, 16, 19})
        wide[x] = 65535;
    EXPECT_EQ(Pass(20, wide), (Bytes{0x81, 0x81, 0x90}));
    // Lines begin on a byte of their own, whatever the block.
    for (const std::int32_t block : {1, 2, 64}) {
        EXPECT_EQ(Pass(9, {0, 0, 0, 0, 0, 0, 0, 0, 65535, 65535, 0, 0, 0, 0, 0, 0, 0, 0}, block),
                  (Bytes{0x00, 0x80, 0x80, 0x00}));
    }
}

TEST_F(Threshold, ColourQueriesAreBilevelToo) {
    CLineSource source = GraySource(&m_tree, 1, {0});
    m_stage->SetUpstream(&source);
    QLColorQuery query;
    const auto ask = [&] {
        query.Samples()[0] = 28159;
        query.Samples()[1] = 28160;
        query.Samples()[2] = 65535;
        EXPECT_EQ(m_stage->TransformColor(&query), 1);
        return Samples(query.Samples(), query.Samples() + 3);
    };
    EXPECT_EQ(ask(), (Samples{0, 65535, 65535})) << "equal counts as white here";
    Set(QL_ATTR_OUTPUT_TYPE, 3);
    EXPECT_EQ(ask(), (Samples{28159, 28160, 65535}));
    Set(QL_ATTR_OUTPUT_TYPE, 0);
    m_stage->SetUpstream(nullptr);
    query.Samples()[0] = 5;
    EXPECT_EQ(m_stage->TransformColor(&query), 0);
    EXPECT_EQ(query.Samples()[0], 5) << "nobody answered";
}

TEST_F(Threshold, AutomaticLiesBetweenTheEndsOfTheHistogram) {
    // 200 pixels: the ends hold trunc(4.5) = 4. (1000 x 51 + 60000 x 49) / 100.
    EXPECT_EQ(Auto({{10, 1000}, {180, 30000}, {10, 60000}}), 29910u);
    // Exactly 4 do, 3 don't: the next bin completes them.
    EXPECT_EQ(Auto({{4, 1000}, {192, 20000}, {4, 60000}}), 29910u);
    EXPECT_EQ(Auto({{3, 1000}, {7, 2000}, {180, 30000}, {7, 50000}, {3, 60000}}), 25520u);
    // 130 pixels: trunc(3.1) = 3.
    EXPECT_EQ(Auto({{2, 1000}, {1, 2000}, {124, 20000}, {3, 60000}}), 30420u);
    // Cut, not rounded: (1 x 51 + 3 x 49) / 100 = 1.98.
    EXPECT_EQ(Auto({{100, 1}, {100, 3}}), 1u);
    EXPECT_EQ(Auto({{100, 0}, {100, 65535}}), 32112u);
}

TEST_F(Threshold, AutomaticOnAnAlmostWhiteImageLooksAtNarrowerEnds) {
    // 1000 pixels: 2 percent are 20, half a percent 5. Of 6 dark and 6 very light pixels the first
    // look finds 50000, beyond the default; the second finds both: (2000 x 51 + 65000 x 49) / 100.
    EXPECT_EQ(Auto({{6, 2000}, {988, 50000}, {6, 65000}}), 32870u);
    // The dark end at the default itself is not beyond it: 20 pixels count at both ends.
    EXPECT_EQ(Auto({{6, 2000}, {500, 28160}, {488, 50000}, {6, 65000}}), 38861u);
    EXPECT_EQ(Auto({{6, 2000}, {500, 28161}, {488, 50000}, {6, 65000}}), 32870u);
}

TEST_F(Threshold, AutomaticNeedsMoreThanAHundredPixels) {
    Set(QL_ATTR_THRESHOLD_DEFAULT, 30000);
    EXPECT_EQ(Auto({{50, 1000}, {50, 60000}}), 30000u);
    EXPECT_EQ(Auto({{50, 1000}, {51, 60000}}), 29910u);
    EXPECT_EQ(Auto({{10, 1000}, {10, 60000}}), 30000u);
}

TEST_F(Threshold, TheAnalysedPassKeepsTheOldThresholdAndTheNextOneHasTheNew) {
    Samples lines(300, 20000);
    std::fill_n(lines.begin(), 30, std::uint16_t{100});
    m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
    Announced();
    EXPECT_EQ(Pass(300, lines)[20], 0x00) << "20000 is dark yet";
    EXPECT_EQ(Announced(), (Log{"20337"}));
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 9851u);  // (100 x 51 + 20000 x 49) / 100
    EXPECT_EQ(Pass(300, lines)[20], 0xFF);
    EXPECT_EQ(Announced(), Log()) << "one request, one analysis";
}

TEST_F(Threshold, OnlyPixelsOfTheRectangleCount) {
    // 20 x 20 pixels, black but for an island: lines 3 to 13, columns 2 to 12.
    Samples lines(400, 0);
    for (std::size_t y = 3; y <= 13; ++y)
        std::fill_n(lines.begin() + static_cast<std::ptrdiff_t>(20 * y + 2), 11,
                    std::uint16_t{20000});
    QLRect rect{3, 2, 13, 12};
    const auto threshold = [&](std::uint64_t word) {
        Set(QL_ATTR_THRESHOLD_RECT, word);
        Set(QL_ATTR_THRESHOLD, 1);
        m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
        Pass(20, lines, 3);
        return Get(QL_ATTR_THRESHOLD);
    };
    EXPECT_EQ(threshold(PointerWord(&rect)), 20000u) << "the island, all of it inclusive";
    Set(QL_ATTR_THRESHOLD_COLLECT, 1);
    Pass(20, lines);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_LEVEL), 121u);
    Set(QL_ATTR_THRESHOLD_COLLECT, 0);
    EXPECT_EQ(WordPointer<const QLRect>(Get(QL_ATTR_THRESHOLD_RECT))->right, 12) << "copied";
    rect = {-5, -5, 100, 100};
    EXPECT_EQ(threshold(PointerWord(&rect)), 9800u) << "beyond the image there is nothing";
    rect = {5, 9, 100, 3};
    EXPECT_EQ(threshold(PointerWord(&rect)), kStartThreshold) << "empty";
    EXPECT_EQ(threshold(0), 9800u) << "no rectangle: the whole image";
}

TEST_F(Threshold, ACompletePassPublishesTheCoarseHistogram) {
    // 16 samples a bin; 65535 falls into the last of 4096.
    const Samples lines = {0, 15, 16, 17, 65535, 65520};
    Set(QL_ATTR_THRESHOLD_COLLECT, 1);
    const auto bin = [this](int i) {
        return WordPointer<const std::uint32_t>(Get(QL_ATTR_THRESHOLD_HIST))[i];
    };
    EXPECT_EQ(bin(0), 0u);
    Announced();
    Pass(2, lines, 1);
    EXPECT_EQ(Announced(), (Log{"20343", "20341"}));
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_LEVEL), 6u);
    EXPECT_EQ(bin(0), 2u);
    EXPECT_EQ(bin(1), 2u);
    EXPECT_EQ(bin(4095), 2u);
    Set(QL_ATTR_INVERT, 1);
    Pass(1, {0, 1, 2});
    EXPECT_EQ(bin(4095), 3u) << "dark is light";
    EXPECT_EQ(bin(0) + bin(1), 0u) << "and the pass before is gone";

    // Cut short: the second of two lines is never read.
    Announced();
    CLineSource source = GraySource(&m_tree, 1, {0, 0});
    m_stage->SetUpstream(&source);
    ASSERT_EQ(m_stage->Open(), QL_OK);
    CQLLineBuffer buffer(m_stage->GetOutputFormat());
    ASSERT_TRUE(buffer.Resize(1));
    std::int32_t lines1 = 1;
    EXPECT_EQ(m_stage->Read(&lines1, &buffer), QL_OK);
    EXPECT_EQ(m_stage->Close(), QL_OK);
    EXPECT_EQ(Announced(), Log());
    EXPECT_EQ(bin(4095), 3u);
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD_LEVEL), 3u);
    m_stage->SetUpstream(nullptr);
}

TEST_F(Threshold, AFailedReadIsHandedOnAndCountsNothing) {
    CLineSource source = GraySource(&m_tree, 1, {0, 0});
    source.m_failAtLine = 0;
    m_stage->SetUpstream(&source);
    m_board.Notify(QL_ATTR_THRESHOLD_AUTO);
    const CPass pass = RunPass(*m_stage);
    EXPECT_EQ(pass.m_read, QL_ERR_SOURCE_READ);
    EXPECT_EQ(pass.m_close, QL_OK);
    std::int32_t lines = -1;
    EXPECT_EQ(m_stage->Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT);
    m_stage->SetUpstream(nullptr);
}

}  // namespace
