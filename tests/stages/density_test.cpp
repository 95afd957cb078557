// Density: the tables, the colour correction of negatives, and the balance of slides. The numbers
// are worked out from the formulas in forty digits.

#include <gtest/gtest.h>

#include <thread>

#include "frame/lut.h"
#include "stages/density_balance.h"
#include "stages/density_color.h"
#include "tests/support/stage_rig.h"
#include "tests/support/tone_support.h"

namespace {

// One code is 4 / 65535 of density: full scale has none, and what lies beyond 4 counts as 4.
TEST(DensityTables, GoFromLightToDensityAndBack) {
    CDensityTables tables;
    ASSERT_TRUE(tables.Ready());
    constexpr int kForward[][2] = {{-1, 65535},   {0, 65535},    {1, 65535},   {6, 65535},
                                   {7, 65066},    {8, 64115},    {655, 32771}, {6553, 16384},
                                   {6554, 16383}, {32768, 4931}, {65534, 0},   {65535, 0},
                                   {1 << 30, 0}};
    for (const auto& [light, density] : kForward)
        EXPECT_EQ(tables.ToDensity(light), density) << light;
    constexpr int kInverse[][2] = {{-131070, 65535}, {0, 65535},   {1, 65525}, {2, 65516},
                                   {16384, 6553},    {32768, 655}, {65533, 6}, {65535, 6},
                                   {65536, 6},       {1 << 30, 6}};
    for (const auto& [density, light] : kInverse)
        EXPECT_EQ(tables.FromDensity(density), light) << density;
}

TEST(DensityTables, SeveralThreadsMakeThemAtOnce) {
    const auto use = [] {
        for (int round = 0; round < 10; ++round) {
            CDensityTables one, other;
            EXPECT_TRUE(one.Ready() && other.Ready());
            EXPECT_EQ(one.Forward(), other.Forward()) << "one pair for all";
            EXPECT_EQ(one.ToDensity(7), 65066);
            EXPECT_EQ(one.FromDensity(65535), 6);
        }
    };
    std::thread threads[] = {std::thread(use), std::thread(use), std::thread(use)};
    for (std::thread& thread : threads)
        thread.join();
}

// In densities 1646, 8444 and 21943. Through the tables alone 52000, 20002 and 3000 come back.
const Samples kBright{52000, 20000, 3000};

class DensityColor : public StageTest<CDensityColorStage> {
  protected:
    void Provide() {
        m_board.Put(QL_ATTR_DENSITY_MATRIX, PointerWord(m_density));
        m_board.Put(QL_ATTR_POST_MATRIX, PointerWord(m_post));
    }

    double m_density[18] = {};
    double m_post[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
};

TEST_F(DensityColor, TakesItsMatricesAtOpenAndOnlyAsAPair) {
    const Samples plain{52000, 20002, 3000}, changed{52000, 15753, 3000};
    EXPECT_EQ(RunGray(m_stage, kBright), kBright);
    EXPECT_FALSE(m_stage.IsActive());
    EXPECT_EQ(RunColor(m_stage, kBright), plain) << "nobody provides them";
    m_density[6] = 0.25;
    m_board.Put(QL_ATTR_DENSITY_MATRIX, PointerWord(m_density));
    EXPECT_EQ(RunColor(m_stage, kBright), plain) << "one alone";
    m_board.Put(QL_ATTR_POST_MATRIX, 0);
    EXPECT_EQ(RunColor(m_stage, kBright), plain) << "the other without a value";
    m_board.Put(QL_ATTR_POST_MATRIX, PointerWord(m_post));
    EXPECT_EQ(AskColor(m_stage, kBright), plain) << "not before the next open";
    EXPECT_EQ(RunColor(m_stage, kBright), changed);
    m_density[6] = 0.0;
    EXPECT_EQ(RunColor(m_stage, kBright), changed) << "nobody was told";
    m_stage.OnAttribNotify(QL_ATTR_POST_MATRIX);
    EXPECT_EQ(RunColor(m_stage, kBright), plain);
}

// Through the balance by a curve that is made of `at`.
template <typename At>
Samples Balanced(const CDensityBalance& balance, const At& at, const Samples& pixel) {
    CQLLut curve(CQLLut::kFullSize, CQLLut::kPlain);
    for (int i = 0; i <= kTop; ++i)
        curve.Set(i, static_cast<std::uint16_t>(Held(at(i))));
    Samples out = pixel;
    balance.Apply(curve, &out[0], &out[1], &out[2]);
    return out;
}

TEST(DensityBalance, TheLowestDensityLeadsAndTheOthersFollow) {
    CDensityBalance balance;
    ASSERT_TRUE(balance.Ready());
    const auto same = [](int v) { return v; };
    EXPECT_EQ(Balanced(balance, [](int v) { return v + 16384; }, {9, 9999, 65535}),
              (Samples{6553, 6553, 6553}))
        << "at the start all light counts as white";
    balance.SetOffsets(65535, 65535, 65535);
    // 1646 / 2 + 100 = 923: all go down by 723.
    EXPECT_EQ(Balanced(
                  balance, [](int v) { return v / 2 + 100; }, kBright),
              (Samples{57562, 22141, 3321}));
    // A white of 0 or less is 1, far beyond density 4; one above full scale adds density, 468 to
    // 627.
    balance.SetOffsets(0, -5, 70000);
    EXPECT_EQ(Balanced(balance, same, {1, 1, 60000}), (Samples{65535, 65535, 56187}));
    EXPECT_EQ(Balanced(balance, same, {1, 1, 1}), (Samples{65535, 65535, 6}));
}

}  // namespace
