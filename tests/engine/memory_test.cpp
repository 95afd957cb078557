// What a run costs in memory, and memory that runs out at one moment of it, whichever it is.

#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"
#include "tests/support/failing_allocation.h"

namespace {

struct Road {
    std::uint64_t m_tma, m_negative, m_outputType;
};

void Take(CQLEngine& engine, const Road& road) {
    engine.SetValue(QL_ATTR_TMA, road.m_tma);
    engine.SetValue(QL_ATTR_NEGATIVE, road.m_negative);
    engine.SetValue(QL_ATTR_OUTPUT_TYPE, road.m_outputType);
}

// What came before the white fill. No band of the pages here begins at 99 percent.
Bytes RealRows(const CTestClient& client) {
    Bytes rows;
    for (const auto* band : client.OfType(QL_IMAGE_CALLBACK_DIB_BUFFER)) {
        if (band->m_percent != 99)
            rows.insert(rows.end(), band->m_bytes.begin(), band->m_bytes.end());
    }
    return rows;
}

class EngineMemory : public testing::TestWithParam<Road> {};

// Memory is there again behind the run. The stages of the road are made anew in the run that lacks
// it: the engine comes from another road.
TEST_P(EngineMemory, ARunThatLacksItLeavesTheNextOneWhole) {
    constexpr Road kOthers[] = {{0, 0, 3}, {1, 0, 3}};
    const Road& other = kOthers[GetParam().m_tma != 0 ? 0 : 1];
    const CTestPicture page = NoisePicture(7, 26);
    CEngineRig rig;
    Take(rig.m_engine, GetParam());
    const Bytes expected = rig.RunStream(page, {20});
    for (const bool forGood : {false, true}) {
        bool happened = true;
        std::size_t which = 1;
        for (; happened; ++which) {
            Take(rig.m_engine, other);
            rig.RunStream(page, {20});
            {
                const CFailingAllocation failing(which, forGood);
                Take(rig.m_engine, GetParam());
                rig.RunStream(page, {20});
                happened = failing.Happened();
            }
            const Bytes rows = RealRows(rig.m_client);
            ASSERT_LE(rows.size(), expected.size()) << "allocation " << which;
            EXPECT_TRUE(std::equal(rows.begin(), rows.end(), expected.begin()))
                << "allocation " << which << ": lines may be missing, but not be wrong";
            ASSERT_EQ(rig.RunStream(page, {20}), expected) << "behind allocation " << which;
        }
        EXPECT_GT(which, 10u) << "a run takes more than a few pieces of memory";
    }
}

INSTANTIATE_TEST_SUITE_P(Roads, EngineMemory,
                         testing::Values(Road{0, 0, 3}, Road{0, 0, 2}, Road{0, 0, 0}, Road{1, 0, 3},
                                         Road{1, 1, 3}, Road{1, 1, 0}));

TEST(EngineMemoryUse, DoesNotGrowWithTheHeightOfTheImage) {
    for (const std::uint64_t type : {3, 2, 0}) {
        CEngineRig rig;
        rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, type);
        const auto bytes = [&](std::int32_t height) {
            TakeAllocatedBytes();
            rig.RunStream(NoisePicture(25, height), {20});
            return TakeAllocatedBytes();
        };
        bytes(45);  // tables that are made once
        const std::size_t low = bytes(45);
        EXPECT_GT(low, 20u * 25 * 3) << "a band at least";
        EXPECT_EQ(bytes(2005), low) << "type " << type;
    }
}

}  // namespace
