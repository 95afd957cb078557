// What every stage of the chain owes the frame, whatever it computes: the same bytes for any size
// of block, a failure that passes through and leaves nothing behind, want of memory as a status,
// formats that are not its own untouched, no byte beyond the lines. Runs over the table of the
// chain: a new stage is under these tests with its row.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>

#include "engine/chain_stages.h"
#include "stages/output_convert.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/noise_lines.h"
#include "tests/support/stage_rig.h"

namespace {

using Row = CChainStages::Row;

constexpr std::pair<std::int32_t, std::int32_t> kSizes[] = {
    {1, 1}, {5, 5}, {9, 3}, {258, 1}, {533, 41}};
constexpr std::int32_t kWhole = 64;

// ---- Settings: every attribute that a stage hears of or answers for has a value that may make it
// work.

class CRecipe final : public CQLAttribStore {
  public:
    CRecipe(QLAttribTree* tree, std::uint32_t seed) : CQLAttribStore(tree), m_random(seed) {
        for (double& number : m_numbers)
            number = Real(-0.4, 1.4);
        for (const Row& row : CChainStages::Table()) {
            if (row.m_attribs)
                Provide(row.m_attribs());
        }
        // What sharpening reads when it opens.
        const std::uint64_t strength = IntegerWord(TruncToI32(Real(-100.0, 101.0)));
        for (int level = 0; level < 5; ++level)
            ProvideWord(QL_ATTR_SHARPEN_TABLE_0 + level, strength);
        ProvideWord(QL_ATTR_SHARPEN_ON, 1);
    }
    std::uint64_t GetAttrib(std::int32_t id) override { return m_words[id]; }

    // The same words for every stage of a class: two of them compute the same.
    void WriteOwn(CQLStage& stage, const Row& member) {
        if (!member.m_attribs)
            return;
        for (const QLAttribRow& row : member.m_attribs()) {
            for (std::int32_t id = row.m_first; row.m_put && id <= row.m_last; ++id) {
                if (row.m_role == QLAttribRole::Provides)
                    stage.SetAttrib(id, m_own.try_emplace(id, Word(row, id)).first->second);
            }
        }
    }

  private:
    void Provide(std::span<const QLAttribRow> rows) {
        for (const QLAttribRow& row : rows) {
            for (std::int32_t id = row.m_first; id <= row.m_last; ++id) {
                if (row.m_role != QLAttribRole::Provides && !m_words.contains(id))
                    ProvideWord(id, Word(row, id));
            }
        }
    }
    void ProvideWord(std::int32_t id, std::uint64_t word) {
        m_words[id] = word;
        RegisterProvider(id);
    }
    double Real(double low, double high) {
        return std::uniform_real_distribution(low, high)(m_random);
    }
    std::uint64_t Word(const QLAttribRow& row, std::int32_t id) {
        switch (FindAttrib(id)->m_kind) {
            case QLAttribKind::Bool:
                return m_random() % 2;
            case QLAttribKind::Fixed:
                return ToFixed(row.HasRange() ? Real(row.m_low, row.m_high) : Real(0.3, 2.2));
            case QLAttribKind::Pointer:
                return row.m_elements > 0 ? PointerWord(m_numbers) : 0;
            case QLAttribKind::Integer:
                if (id == QL_ATTR_ROTATE_ANGLE)
                    return m_random() % 4 * 90;
                if (row.HasRange())
                    return IntegerWord(TruncToI32(Real(row.m_low, row.m_high + 1.0)));
                return id == QL_ATTR_OUTPUT_TYPE ? m_random() % 5 : m_random() % 200;
            default:
                return 0;
        }
    }

    std::mt19937 m_random;
    std::map<std::int32_t, std::uint64_t> m_words, m_own;
    double m_numbers[18];
};

// ---- One stage between a source and a pump

struct Input {
    std::uint32_t m_type;
    std::uint32_t m_layout;
};

std::unique_ptr<CLineSource> NoiseSource(QLAttribTree& tree, const Input& input, std::int32_t width,
                                         std::int32_t height) {
    const auto make = [&](const Bytes& bytes) {
        return std::make_unique<CLineSource>(&tree, input.m_type, width, bytes, input.m_layout);
    };
    return make(Noise(static_cast<std::size_t>(make({})->Format().m_bytesPerLine * height)));
}

struct Member {
    std::string m_name;
    std::function<std::unique_ptr<CQLStage>(QLAttribTree*)> m_make;
    Row m_row;
};

// The stages of the table, and the output conversion that stands behind them all.
std::vector<Member> Members() {
    std::vector<Member> all;
    for (const Row& row : CChainStages::Table()) {
        if (row.m_make)
            all.push_back({row.m_className, row.m_make, row});
    }
    Row last;
    last.m_shape = QLLineShape::NewLines;
    last.m_changesFormat = true;
    const auto make = [](QLAttribTree* tree) {
        std::unique_ptr<COutputConvertStage> stage(new (std::nothrow) COutputConvertStage(tree));
        if (stage)
            stage->SetTargetLayout(QL_LAYOUT_BITMAP_ROWS);
        return stage;
    };
    all.push_back({"COutputConvertStage", make, last});
    return all;
}

std::vector<Input> InputsOf(const Member& member) {
    if (member.m_name != "CEncodedInputStage")
        return {{QL_PIXEL_RGB16, QL_LAYOUT_INTERNAL}, {QL_PIXEL_GRAY16, QL_LAYOUT_INTERNAL}};
    std::vector<Input> raw;
    for (const std::uint32_t type :
         {QL_PIXEL_BGR8, QL_PIXEL_GRAY8, QL_PIXEL_BGR8_ENCODED, QL_PIXEL_GRAY8_ENCODED})
        raw.push_back({type, QL_LAYOUT_AS_IS});
    return raw;
}

class StageContract : public testing::TestWithParam<Member> {
  protected:
    // Calls `test` with a source for every kind of input, size and choice of settings.
    template <typename Test>
    void ForEachScene(const Test& test) {
        for (std::uint32_t seed = 1; seed <= 4; ++seed) {
            for (const Input& input : InputsOf(GetParam())) {
                for (const auto& [width, height] : kSizes) {
                    if (std::min(width, height) < GetParam().m_row.m_leastSide)
                        continue;
                    QLAttribTree tree;
                    CRecipe recipe(&tree, seed);
                    const auto source = NoiseSource(tree, input, width, height);
                    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) +
                                 ", type " + std::to_string(input.m_type) + ", settings " +
                                 std::to_string(seed));
                    test(tree, recipe, *source);
                }
            }
        }
    }
    std::unique_ptr<CQLStage> Behind(QLAttribTree& tree, CRecipe& recipe, CQLStage& source) {
        auto stage = GetParam().m_make(&tree);
        if (stage) {
            recipe.WriteOwn(*stage, GetParam().m_row);
            stage->SetUpstream(&source);
        }
        return stage;
    }
};

TEST_P(StageContract, AnyBlocksGiveTheSameBytesAndTheFormatIsAsTold) {
    const Row& row = GetParam().m_row;
    ForEachScene([&](QLAttribTree& tree, CRecipe& recipe, CLineSource& source) {
        const auto stage = Behind(tree, recipe, source);
        const CPass whole = RunPass(*stage, kWhole);
        EXPECT_EQ(whole.m_status, QL_OK);
        const QLImageFormat& out = *stage->GetOutputFormat();
        EXPECT_EQ(whole.m_bytes.size(),
                  static_cast<std::size_t>(out.m_bytesPerLine * out.m_height));
        EXPECT_TRUE(row.m_changesFormat || out.m_pixelType == source.Format().m_pixelType);
        EXPECT_TRUE(row.m_shape == QLLineShape::NewLines ||
                    out.m_bytesPerLine == source.Format().m_bytesPerLine);
        for (const std::int32_t block : {1, 2, 3, 7}) {
            source.m_mostLines = block == 7 ? 3 : kWhole;  // fewer at a time than asked
            const CPass parts = RunPass(*stage, block);
            EXPECT_EQ(parts.m_status, QL_OK);
            EXPECT_TRUE(parts.m_bytes == whole.m_bytes) << "blocks of " << block;
        }
        source.m_mostLines = kWhole;
        EXPECT_TRUE(row.m_shape != QLLineShape::PassesOn || whole.m_bytes == source.Bytes());
    });
}

TEST_P(StageContract, AFailureAtAnyLinePassesThroughAndLeavesNothingBehind) {
    ForEachScene([&](QLAttribTree& tree, CRecipe& recipe, CLineSource& source) {
        const auto stage = Behind(tree, recipe, source);
        const CPass whole = RunPass(*stage, 2);
        const std::int32_t last = source.Format().m_height - 1;
        for (const std::int32_t line : {0, 1, last / 2, last}) {
            source.m_failAtLine = std::min(line, last);
            const CPass failed = RunPass(*stage, 2);
            EXPECT_EQ(failed.m_status, QL_ERR_SOURCE_READ);
            EXPECT_LE(failed.m_bytes.size(), whole.m_bytes.size());
            EXPECT_TRUE(
                std::equal(failed.m_bytes.begin(), failed.m_bytes.end(), whole.m_bytes.begin()));
            source.m_failAtLine = -1;
            EXPECT_TRUE(RunPass(*stage, 2).m_bytes == whole.m_bytes) << "behind line " << line;
        }
        EXPECT_EQ(stage->Open(), QL_OK);
        std::int32_t lines = -1;
        CQLLineBuffer buffer(stage->GetOutputFormat());
        EXPECT_EQ(stage->Read(&lines, &buffer), QL_ERR_BAD_ARGUMENT);
        stage->Close();
    });
}

// Memory that lacks while the stage is made, opened or read: no exception, no wrong line, and with
// memory again a stage that was whole is whole again.
TEST_P(StageContract, WantOfMemoryIsAStatus) {
    for (const Input& input : InputsOf(GetParam())) {
        QLAttribTree tree;
        CRecipe recipe(&tree, 3);
        const auto source = NoiseSource(tree, input, 9, 3);
        const auto whole = Behind(tree, recipe, *source);
        const Bytes expected = RunPass(*whole, 2).m_bytes;
        Bytes memory(4096, kOld);
        for (const bool making : {true, false}) {
            bool happened = true;
            for (std::size_t which = 1; happened; ++which) {
                auto stage = making ? nullptr : Behind(tree, recipe, *source);
                QLStatus status = QL_OK;
                {
                    const CFailingAllocation failing(which, which % 2 == 0, true);
                    EXPECT_NO_THROW({
                        if (making)
                            stage = Behind(tree, recipe, *source);
                        status = stage ? stage->Open() : QL_ERR_NO_MEMORY;
                        if (status == QL_OK) {
                            std::int32_t lines = stage->GetOutputFormat()->m_height;
                            CQLLineBuffer buffer(stage->GetOutputFormat(), memory.data(), lines);
                            status = stage->Read(&lines, &buffer);
                        }
                    }) << "allocation "
                       << which;
                    happened = failing.Happened();
                }
                EXPECT_TRUE(status == QL_OK || status == QL_ERR_NO_MEMORY) << status;
                EXPECT_TRUE(making || status != QL_OK ||
                            std::equal(expected.begin(), expected.end(), memory.begin()))
                    << "wrong lines behind allocation " << which;
                if (stage)
                    stage->Close();
                EXPECT_TRUE(making || RunPass(*stage, 2).m_bytes == expected) << "behind " << which;
            }
        }
    }
}

// Two in a row give what the second makes of the first one's finished image. Behind lines that are
// packed stand only stages that look at the format.
TEST_P(StageContract, InPairsEachGetsWhatTheOtherMade) {
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
        for (const Member& second : Members()) {
            for (const Input& input : InputsOf(GetParam())) {
                QLAttribTree tree;
                CRecipe recipe(&tree, seed);
                const auto source = NoiseSource(tree, input, 33, 11);
                // All stand before the first pull: one that comes takes ids over from the recipe.
                const auto first = Behind(tree, recipe, *source);
                // Each is written before the next one takes its ids over.
                std::unique_ptr<CQLStage> alone, behind;
                for (auto* stage : {&alone, &behind}) {
                    *stage = second.m_make(&tree);
                    recipe.WriteOwn(**stage, second.m_row);
                }
                const Bytes between = RunPass(*first, 4).m_bytes;
                const QLImageFormat& format = *first->GetOutputFormat();
                if (!format.IsInternal())
                    continue;
                CLineSource finished(&tree, format.m_pixelType, format.m_width, between,
                                     format.m_layout);
                alone->SetUpstream(&finished);
                behind->SetUpstream(first.get());
                EXPECT_TRUE(RunPass(*behind, 3).m_bytes == RunPass(*alone, kWhole).m_bytes)
                    << second.m_name << ", settings " << seed;
            }
        }
    }
}

// The encoding curve goes over all 16-bit words of whatever comes; the converting stages have a
// table of formats of their own.
TEST(StagesOfOneForm, LetOtherFormatsPassByteForByte) {
    for (const Member& member : Members()) {
        if (member.m_row.m_changesFormat || member.m_name == "CEncodingCurveStage")
            continue;
        for (const std::uint32_t type : {QL_PIXEL_INDEX8, QL_PIXEL_4BIT_ROWS}) {
            QLAttribTree tree;
            CRecipe recipe(&tree, 2);
            const auto source = NoiseSource(tree, {type, QL_LAYOUT_AS_IS}, 258, 5);
            const auto stage = member.m_make(&tree);
            stage->SetUpstream(source.get());
            EXPECT_TRUE(RunPass(*stage, 2).m_bytes == source->Bytes()) << member.m_name << type;
            EXPECT_EQ(stage->GetOutputFormat()->m_pixelType, type) << member.m_name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, StageContract, testing::ValuesIn(Members()),
                         [](const auto& member) { return member.param.m_name; });

}  // namespace
