// The ring of five lines: which lines a filter sees, how many it takes from the stage before it,
// and what becomes of an image that ends early.

#include "stages/five_line.h"

#include "tests/support/stage_rig.h"

namespace {

// Writes the five lines' numbers, each a digit: line 12 of a long image is made of "01234" + 10.
class CDigitStage final : public CFiveLineStage {
  public:
    using CFiveLineStage::CFiveLineStage;

    QLStatus OnAfterOpen() override {
        m_passThrough = m_off;
        return CFiveLineStage::OnAfterOpen();
    }
    bool m_off = false;

  private:
    std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                            const std::uint16_t* line1, const std::uint16_t* line2,
                            const std::uint16_t* line3, const std::uint16_t* line4) override {
        *out = 0;
        for (const std::uint16_t* line : {line0, line1, line2, line3, line4})
            *out = static_cast<std::uint16_t>(*out * 10 + *line);
        return 1;
    }
};

// One pixel a line, which holds the line's number from 1 on.
Samples Numbers(int count) {
    Samples lines(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < lines.size(); ++i)
        lines[i] = static_cast<std::uint16_t>(i + 1);
    return lines;
}

// Lines of an image of `count` lines as they come out.
Samples Expected(int count) {
    Samples lines = Numbers(count);
    for (int i = 0; i < count; ++i) {
        int digits = 0;
        for (int line = i - 2; line <= i + 2; ++line)
            digits = digits * 10 + std::clamp(line, 0, count - 1) + 1;
        lines[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(digits);
    }
    return lines;
}

// A source that has only so many of its lines yet.
class CSlowSource final : public CQLSourceStage {
  public:
    CSlowSource(QLAttribTree* tree, int height) : CQLSourceStage(tree) {
        m_outFormat.SetLayout(QL_LAYOUT_INTERNAL);
        m_outFormat.SetPixelType(QL_PIXEL_GRAY16);
        m_outFormat.SetWidth(1);
        m_outFormat.SetHeight(height);
    }
    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override {
        *lines = std::min(*lines, m_there - m_taken);
        for (int i = 0; i < *lines; ++i)
            buffer->Samples()[i] = static_cast<std::uint16_t>(++m_taken);
        return QL_OK;
    }
    int m_there = 0, m_taken = 0;
};

struct FiveLine : StageTest<CDigitStage> {
    // Appends what a pull of `wanted` lines gives.
    void Pull(int wanted, Samples* all) {
        Samples memory(static_cast<std::size_t>(wanted));
        CQLLineBuffer buffer(m_stage.GetOutputFormat(),
                             reinterpret_cast<std::uint8_t*>(memory.data()), wanted);
        ASSERT_EQ(m_stage.Read(&wanted, &buffer), QL_OK);
        all->insert(all->end(), memory.begin(), memory.begin() + wanted);
    }
};

TEST_F(FiveLine, EachLineIsMadeOfItsNeighbourhood) {
    EXPECT_EQ(Expected(4), (Samples{11123, 11234, 12344, 23444}));
    for (int height = 1; height <= 9; ++height) {
        const Bytes bytes = BytesOf(Numbers(height));
        for (int block = 1; block <= 10; ++block) {
            const CPass pass =
                RunLines(m_stage, QL_PIXEL_GRAY16, 1, bytes, QL_LAYOUT_INTERNAL, block);
            EXPECT_EQ(SamplesOf(pass.m_bytes), height < 3 ? Numbers(height) : Expected(height))
                << height << " lines by " << block;
            EXPECT_EQ(m_stage.IsActive(), height >= 3);
        }
    }
    m_stage.m_off = true;
    EXPECT_EQ(RunLines(m_stage, QL_PIXEL_GRAY16, 1, BytesOf(Numbers(4))).m_bytes,
              BytesOf(Numbers(4)));
}

// However the lines trickle in: no line is made before its neighbours are there, none is taken
// that isn't needed, and once the input ends the rest comes as if the image had been so high.
TEST_F(FiveLine, LinesThatAreNotThereYetAreWaitedForUntilTheInputEnds) {
    for (int height : {3, 8}) {
        for (int came = 0; came <= height; ++came) {
            for (int step = 1; step <= 4; ++step) {
                CSlowSource source(&m_tree, height);
                m_stage.SetUpstream(&source);
                m_stage.Open();
                EXPECT_EQ(m_stage.HeldLines(), 2);
                Samples out;
                while (source.m_there < came) {
                    source.m_there = std::min(source.m_there + step, came);
                    Pull(2, &out);
                    EXPECT_LE(source.m_taken, std::max<int>(static_cast<int>(out.size()) + 2, 3));
                }
                Pull(20, &out);
                EXPECT_EQ(out.size(),
                          static_cast<std::size_t>(came == height ? came : std::max(came - 2, 0)));
                m_stage.OnEndOfInput();
                Pull(20, &out);
                Pull(1, &out);
                std::int32_t lines = 1;
                EXPECT_EQ(m_stage.Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT);
                EXPECT_EQ(out, Expected(came)) << came << " of " << height << " by " << step;
                m_stage.Close();
            }
        }
    }
}

}  // namespace
