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

// Memory is there again behind the run. The stages of the road are made anew in the run that lacks
// it: the engine comes from another road.
TEST(EngineMemory, ARunThatLacksItLeavesTheNextOneWhole) {
    const CTestPicture page = NoisePicture(7, 26);
    for (const Road& road :
         {Road{0, 0, 3}, {0, 0, 2}, {0, 0, 0}, {1, 0, 3}, {1, 1, 3}, {1, 1, 0}}) {
        CEngineRig rig;
        Take(rig.m_engine, road);
        const Bytes expected = rig.RunStream(page, {20});
        bool happened = true;
        std::size_t which = 0;
        while (happened) {
            Take(rig.m_engine, {1 - road.m_tma, 0, 3});
            rig.RunStream(page, {20});
            {
                const CFailingAllocation failing(which / 2 + 1, which % 2 == 1);
                Take(rig.m_engine, road);
                rig.RunStream(page, {20});
                happened = failing.Happened();
                ++which;
            }
            // What came before the white fill. No band of this page begins at 99 percent.
            Bytes rows;
            for (const auto* band : rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_BUFFER)) {
                if (band->m_percent != 99)
                    rows.insert(rows.end(), band->m_bytes.begin(), band->m_bytes.end());
            }
            ASSERT_LE(rows.size(), expected.size()) << "allocation " << which;
            EXPECT_TRUE(std::equal(rows.begin(), rows.end(), expected.begin()))
                << "allocation " << which << ": lines may be missing, but not be wrong";
            ASSERT_EQ(rig.RunStream(page, {20}), expected) << "behind allocation " << which;
        }
        EXPECT_GT(which, 20u) << "a run takes more than a few pieces of memory";
    }
}

TEST(EngineMemory, DoesNotGrowWithTheHeightOfTheImage) {
    for (const std::uint64_t type : {3, 2, 0}) {
        CEngineRig rig;
        rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, type);
        std::size_t bytes[3];
        for (const int i : {0, 1, 2}) {  // the first run makes what is made once
            TakeAllocatedBytes();
            rig.RunStream(NoisePicture(25, i < 2 ? 45 : 2005), {20});
            bytes[i] = TakeAllocatedBytes();
        }
        EXPECT_GT(bytes[1], 20u * 25 * 3) << "a band at least";
        EXPECT_EQ(bytes[2], bytes[1]) << "type " << type;
    }
}

}  // namespace
