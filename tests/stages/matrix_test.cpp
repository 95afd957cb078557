// Matrix stages: the matrices by mode and attribute, and what they make of pixels.

#include <gtest/gtest.h>

#include <limits>

#include "stages/device_matrix.h"
#include "stages/tma_matrix.h"
#include "tests/support/stage_rig.h"

namespace {

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

// At saturation 1.4 the elements are 1.2 and -0.1, in 1/1024 trunc(1229.3) = 1229 and
// trunc(-101.9) = -101: (1229 * 10000 - 101 * 50000) / 1024 = 7070.3 and so on.
const Samples kPixel{10000, 20000, 30000};
const Samples kAt14{7070, 20058, 33046};
// At 1.25: 1.125 and -0.0625, 1152 and trunc(-63.5) = -63.
const Samples kAt125{8173, 20039, 31904};
// 0.3, 0.59 and 0.11 in 1/1024: 307, 604, 113. (3070000 + 12080000 + 3390000) / 1024.
const Samples kGray(3, 18105);

// The same for the three stages: saturation alone, and behind the matrix of either device.
template <typename Stage>
struct MatrixStages : StageTest<Stage> {
    static constexpr bool kIsDevice = std::is_same_v<Stage, CDeviceMatrixStage>;
    static constexpr bool kIsPlain = std::is_same_v<Stage, CSaturationStage>;

    Samples Run(const Samples& line = kPixel) { return RunColor(this->m_stage, line); }
    void Saturate(double s) { this->m_board.SetFixed(QL_ATTR_SATURATION, s); }
    void SetMode(std::int32_t m) { this->m_board.SetValue(QL_ATTR_MATRIX_MODE, IntegerWord(m)); }
};
using Stages = testing::Types<CSaturationStage, CDeviceMatrixStage, CTmaMatrixStage>;
TYPED_TEST_SUITE(MatrixStages, Stages);

TYPED_TEST(MatrixStages, SaturationIsLimitedAndHasADeadZone) {
    // clang-format off
    for (const auto& [value, kept, device] : {std::tuple{-1.0, 0.0, 0.0}, {1.6, 1.5, 1.5},
            {1.004, 1.0, 1.0}, {0.996, 1.0, 1.0}, {0.994, 0.994, 0.994}, {1.006, 1.006, 1.0},
            {1.009, 1.009, 1.0}, {1.011, 1.011, 1.011}}) {
        // clang-format on
        this->Saturate(value);
        EXPECT_EQ(this->m_board.GetFixed(QL_ATTR_SATURATION),
                  FromFixed(ToFixed(this->kIsDevice ? device : kept)))
            << value;
    }
    this->m_board.Notify(QL_ATTR_SATURATION_RESET);
    EXPECT_EQ(this->m_board.GetFixed(QL_ATTR_SATURATION), 1.0);
    this->Saturate(1.4);
    EXPECT_EQ(this->Run(), kAt14);
    EXPECT_EQ(AskColor(this->m_stage, kPixel), kAt14);
    EXPECT_EQ(RunGray(this->m_stage, kPixel), kPixel);
    this->Saturate(1.019);  // 1.0095 and -0.00475 count as the identity
    EXPECT_EQ(this->Run(), kPixel);
}

TYPED_TEST(MatrixStages, TheBoostComesBehindTheLimit) {
    const auto at = [this](double saturation, std::uint64_t boost) {
        this->Saturate(saturation);
        this->m_board.Put(QL_ATTR_SATURATION_BOOST, boost);
        return this->Run();
    };
    EXPECT_EQ(at(1.25, 2), kAt125) << "only the value 1 boosts";
    EXPECT_EQ(at(1.25, 1), kAt14);
    // Cut at 1.5: 1.25 and -0.125, 1280 and trunc(-127.5) = -127.
    EXPECT_EQ(at(1.5, 1), (Samples{6298, 20039, 33779}));
    at(1.25, 1);
    this->SetMode(QL_MATRIX_IDENTITY);
    this->SetMode(QL_MATRIX_COLOR);
    EXPECT_EQ(this->Run(), this->kIsPlain ? kAt125 : kAt14) << "the plain stage leaves it out";
}

TYPED_TEST(MatrixStages, ModesPickChannelsOrWeighThem) {
    // clang-format off
    const std::pair<std::int32_t, Samples> cases[] = {
        {1, kGray}, {2, Samples(3, 10000)}, {3, Samples(3, 20000)}, {4, Samples(3, 30000)},
        {6, Samples(3, 30000)} /* unknown: the matrix stays */, {5, kPixel}, {0, kPixel}};
    // clang-format on
    for (const auto& [mode, expected] : cases) {
        this->SetMode(mode);
        EXPECT_EQ(this->Run(), expected) << mode;
    }
    this->SetMode(1);
    this->Saturate(1.4);
    EXPECT_EQ(this->Run(), this->kIsPlain ? kAt14 : kGray) << "takes the whole matrix there";
    this->SetMode(0);
    EXPECT_EQ(this->Run(), kAt14);
}

// ---- What a profile says

using DeviceMatrix = StageTest<CDeviceMatrixStage>;

TEST_F(DeviceMatrix, TablesArriveByAnnouncementAndMayHoldAnything) {
    const double turned[9] = {0, 1, 0, 0, 0, 1, 1, 0, 0};
    for (const double* table : {turned, static_cast<const double*>(nullptr)}) {
        m_board.Put(QL_ATTR_DEVICE_MATRIX, PointerWord(table));
        EXPECT_EQ(RunColor(m_stage, kPixel), (Samples{20000, 30000, 10000})) << "null leaves it";
    }
    m_board.SetValue(QL_ATTR_MATRIX_MODE, QL_MATRIX_GRAY);
    double w[3];
    const auto gray = [&](double r, double g, double b, const Samples& pixel) {
        std::tie(w[0], w[1], w[2]) = std::tuple(r, g, b);
        m_board.Put(QL_ATTR_GRAY_WEIGHTS, PointerWord(w));
        return RunColor(m_stage, pixel)[1];
    };
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(gray(12, 0, 0, {5000, 9, 9}), 60000) << "a strong row that still fits";
    // Held at 10, 10 and -10.
    EXPECT_EQ(gray(12, 1e300, -kInfinite, {1000, 2000, 500}), 25000);
    EXPECT_EQ(gray(kInfinite - kInfinite, 0, 0, kPixel), 0);
}

TEST_F(DeviceMatrix, AWindowFadesTheMatrixIn) {
    // Red and green mixed half and half; blue takes blue less red.
    const double nine[9] = {0.5, 0.5, 0, 0.5, 0.5, 0, -1, 0, 1};
    m_board.Put(QL_ATTR_DEVICE_MATRIX, PointerWord(nine));
    const auto window = [this](std::int32_t center, std::int32_t width) {
        m_board.Put(QL_ATTR_DEVICE_WINDOW_LOW, IntegerWord(center));
        m_board.Put(QL_ATTR_DEVICE_WINDOW_HIGH, IntegerWord(width));
    };
    window(64, 32);  // 12288 to 20480, 8192 wide
    EXPECT_EQ(RunColor(m_stage, {20480, 0, 100}), (Samples{10240, 10240, 0})) << "all of it";
    // Both are mixed to 15360: 3072 * 1/2 and 3072 * 1/4 above the lower end.
    EXPECT_EQ(RunColor(m_stage, {16384, 14336, 12000}), (Samples{13824, 13056, 12000}));
    EXPECT_EQ(AskColor(m_stage, {100, 300, 0}), (Samples{200, 200, 0})) << "colours have no window";
    window(0, 0);
    EXPECT_EQ(RunColor(m_stage, {0, 10, 0}), (Samples{5, 5, 0})) << "every pixel";
    window(64, 0);
    EXPECT_EQ(RunColor(m_stage, {16383, 10, 0, 16384, 10, 0}),
              (Samples{16383, 10, 0, 8197, 8197, 0}));
    for (const std::int32_t center : {-kMost - 1, 0, kMost}) {
        for (const std::int32_t width : {-kMost - 1, -1, 1, 1 << 22, kMost}) {
            window(center, width);
            EXPECT_EQ(RunColor(m_stage, {0, 30000, 65535}).size(), 3u)
                << "stays within its integers";
        }
    }
}

}  // namespace
