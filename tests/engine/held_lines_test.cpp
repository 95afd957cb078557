// Stages that keep lines back, in a whole engine: images of few lines and those that end early,
// however they are fed.

#include <gtest/gtest.h>

#include <bit>

#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

constexpr std::int32_t kWidth = 12;  // rows without padding
constexpr std::size_t kRow = 3 * kWidth;

// What switches a stage with a ring on and off, and whether the stage only hears of it.
struct Ring {
    std::int32_t id;
    std::int32_t value;
    std::int32_t off;
    bool heard;
};
constexpr Ring kRings[] = {{QL_ATTR_SMOOTH_ON, 1, 0, false},
                           {QL_ATTR_DESTREAK_B, 2, 0, true},
                           {QL_ATTR_NOISE_SMOOTH_ON, 1, 0, false},
                           {QL_ATTR_SHARPEN_LEVEL, 4, 5, false}};
constexpr unsigned kChoices = 1u << std::size(kRings);

void Switch(CEngineRig& rig, CTestBoard& board, const Ring& ring, bool on) {
    if (ring.heard)
        board.Put(ring.id, 0);
    rig.m_engine.SetValue(ring.id, IntegerWord(on ? ring.value : ring.off));
}

// A rig for each choice of rings that are on.
struct Rings : testing::TestWithParam<unsigned> {
    Rings() {
        for (std::size_t i = 0; i < std::size(kRings); ++i)
            Switch(m_rig, m_board, kRings[i], (GetParam() >> i & 1) != 0);
    }
    // The first `came` lines of a picture as feeds of the sizes given, the last of which repeats.
    Bytes RunPart(const CTestPicture& picture, int came, const std::vector<int>& feeds) {
        m_rig.m_client.m_messages.clear();
        CTestStream stream(picture);
        m_rig.Begin(stream);
        for (std::size_t i = 0; came > 0; ++i) {
            const int lines = std::min(came, feeds[std::min(i, feeds.size() - 1)]);
            m_rig.Feed(stream, lines);
            came -= lines;
        }
        m_rig.m_engine.FireFeed();
        m_rig.Finish();
        return m_rig.m_client.Rows();
    }

    CEngineRig m_rig;
    CTestBoard m_board{m_rig.m_engine.Tree()};
};

TEST_P(Rings, ImagesOfFewLinesComeWholeHoweverTheyAreFed) {
    for (int height = 1; height <= 12; ++height) {
        const CTestPicture picture = NoisePicture(kWidth, height);
        // At once, from a file: nothing has to be waited for.
        const Bytes whole = m_rig.RunFile(picture);
        ASSERT_EQ(whole.size(), static_cast<std::size_t>(height) * kRow);
        for (int band = 1; band <= 20; ++band)
            EXPECT_EQ(RunPart(picture, height, {band}), whole) << height << " lines by " << band;
        EXPECT_EQ(RunPart(picture, height, {0, 3, 0, 0, 2, 1}), whole);
    }
}

TEST_P(Rings, AsManyLinesStayBehindAsTheyKeep) {
    CTestStream stream(NoisePicture(kWidth, 60));
    m_rig.Begin(stream);
    for (const int feed : {20, 20, 0}) {
        m_rig.Feed(stream, feed);
        const auto kept = static_cast<std::uint32_t>(2 * std::popcount(GetParam()));
        EXPECT_EQ(stream.m_nLines, feed != 0 ? std::max(kept + 1, 5u) : kept);
    }
    m_rig.Feed(stream, 20);
    m_rig.m_engine.FireFeed();
    EXPECT_EQ(stream.m_nLines, 0u);
    EXPECT_EQ(m_rig.m_client.Rows().size(), 60 * kRow) << "ahead of the end";
    m_rig.Finish();
}

TEST_P(Rings, ImagesThatEndEarlyComeToTheirLastLine) {
    for (int came = 0; came <= 12; ++came) {
        CTestPicture picture = NoisePicture(kWidth, 12);
        picture.m_height = 30;
        picture.m_pixels.resize(30 * kRow);
        CTestPicture part = picture;
        part.m_height = came;
        for (const std::vector<int>& feeds : {std::vector<int>{20}, {1}, {5, 0, 0, 4}, {0, 2}}) {
            const Bytes rows = RunPart(picture, came, feeds);
            ASSERT_EQ(rows.size(), 30 * kRow);
            const auto end = rows.begin() + came * static_cast<int>(kRow);
            EXPECT_EQ(static_cast<std::size_t>(std::count(end, rows.end(), 0xFF)),
                      (30 - static_cast<std::size_t>(came)) * kRow);
            // As an image of so many lines; those of less than five are none for every ring.
            if (came >= 5)
                EXPECT_EQ(Bytes(rows.begin(), end), RunPart(part, came, {20})) << came;
            else
                EXPECT_LT(std::count(rows.begin(), end, 0xFF),
                          came * static_cast<int>(kRow) / 2 + 1);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Choices, Rings, testing::Range(0u, kChoices));

}  // namespace
