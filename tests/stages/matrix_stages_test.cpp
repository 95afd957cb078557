// Matrix stages: the matrices by mode and attribute, and what they make of pixels.

#include "stages/device_matrix.h"
#include "stages/tma_matrix.h"

#include <limits>
#include <memory>

#include "tests/support/tone_support.h"

namespace {

constexpr std::uint16_t kFullScale = 65535;

CQLMatrix3 Matrix(const std::vector<double>& nine) {
    CQLMatrix3 matrix;
    matrix.Assign(nine.data());
    return matrix;
}

void ExpectMatrix(const CQLMatrix3& matrix, const std::vector<double>& nine) {
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(matrix.At(i / 3, i % 3), nine[static_cast<std::size_t>(i)], 1e-12) << i;
}

TEST(Matrix, SaturationSpreadsFromTheMean) {
    struct Case {
        double saturation, diagonal, other;
    };
    for (const Case& c : {Case{0.0, 1.0 / 3.0, 0.3333333},
                          {-9.0, 1.0 / 3.0, 0.3333333},
                          {0.7, 0.8, 0.3333333 - 0.7 / 3},
                          {1.0, 1, 0},
                          {1.4, 1.2, -0.1},
                          {2.0, 1.5, -0.25},
                          {9.0, 1.5, -0.25}}) {
        CQLMatrix3 m;
        m.SetSaturation(c.saturation);
        ExpectMatrix(m, {c.diagonal, c.other, c.other, c.other, c.diagonal, c.other, c.other,
                         c.other, c.diagonal});
    }
}

TEST(Matrix, NearIdentityHasAMarginOfAHundredth) {
    EXPECT_TRUE(Matrix({1.009, 0.009, -0.009, 0, 0.991, 0, 0, 0, 1}).IsNearIdentity());
    for (std::size_t i = 0; i < 9; ++i) {
        for (const double margin : {0.01, -0.01}) {
            std::vector<double> nine{1, 0, 0, 0, 1, 0, 0, 0, 1};
            nine[i] = i % 4 == 0 ? 1.0 + margin : margin;
            EXPECT_FALSE(Matrix(nine).IsNearIdentity()) << i;
        }
    }
}

TEST(Matrix, PreMultiplyPutsTheOtherBehindAndLimitsTheWhole) {
    CQLMatrix3 m = Matrix({1, 2, 0, 0, 1, 0, 0, 0, 1});
    m.PreMultiply(Matrix({0.5, 0, 0, 0.25, 1, 0, 0, 0, 1}));
    ExpectMatrix(m, {0.5, 1, 0, 0.25, 1.5, 0, 0, 0, 1});
    // 0.9 * -2.2 = -1.98 is not above the limit; -3.96 is twice the limit and halves everything.
    m = Matrix({0.9, 0, 0, 0, 1, 0, 0, 0, 1});
    m.PreMultiply(Matrix({-2.2, 0, 0, 0, 1, 0, 0, 0, 0.5}));
    ExpectMatrix(m, {-1.98, 0, 0, 0, 1, 0, 0, 0, 0.5});
    m = Matrix({1.8, 0, 0, 0, 1, 0, 0, 0, 1});
    m.PreMultiply(Matrix({-2.2, 0, 0, 0, 1, 0, 0, 0, 0.5}));
    ExpectMatrix(m, {-1.98, 0, 0, 0, 0.5, 0, 0, 0, 0.25});
}

class MatrixStages : public testing::Test {
  protected:
    QLAttribTree m_tree;
    CTestProvider m_provider{&m_tree};
    std::vector<double> m_nine{1, 0, 0, 0, 1, 0, 0, 0, 1};

    // Provides a matrix, or announces that the one provided has changed.
    void ProvideMatrix(std::int32_t id, const std::vector<double>& nine) {
        m_nine = nine;
        m_provider.Provide(id, PointerWord(m_nine.data()));
    }
};

TEST_F(MatrixStages, SaturationIsLimitedAndHasADeadZone) {
    CSaturationStage plain(&m_tree);
    CDeviceMatrixStage device(&m_tree);
    CTmaMatrixStage tma(&m_tree);
    struct Case {
        double value, plainAndTma, device;
    };
    for (const Case& c : {Case{-1, 0, 0},
                          {1.6, 1.5, 1.5},
                          {1.004, 1, 1},
                          {0.996, 1, 1},
                          {0.995, 0.995, 0.995},
                          {1.005, 1.005, 1},
                          {1.009, 1.009, 1},
                          {1.0099, 1.0099, 1.0099},
                          {0.3, 0.3, 0.3}}) {
        EXPECT_EQ(plain.SetSaturation(c.value), c.plainAndTma);
        EXPECT_EQ(tma.SetSaturation(c.value), c.plainAndTma);
        EXPECT_EQ(device.SetSaturation(c.value), c.device);
        EXPECT_EQ(device.GetSaturation(), c.device);
    }
}

TEST_F(MatrixStages, SaturationTravelsAsAnAttribute) {
    CSaturationStage stage(&m_tree);
    std::vector<std::string> log;
    CTestListener listener(&m_tree, &log, "");
    listener.Subscribe(QL_ATTR_SATURATION);
    m_provider.SetFixed(QL_ATTR_SATURATION, 1.4);
    EXPECT_EQ(m_provider.GetValue(QL_ATTR_SATURATION), 91750u) << "1.4 * 65536 = 91750.4";
    log.clear();
    m_provider.Notify(QL_ATTR_SATURATION_RESET);
    EXPECT_EQ(m_provider.GetFixed(QL_ATTR_SATURATION), 1.0);
    EXPECT_EQ(log.size(), 1u);
    m_provider.Notify(QL_ATTR_SATURATION_RESET);
    EXPECT_EQ(log.size(), 1u) << "is neutral already";
    EXPECT_EQ(m_provider.GetInteger(QL_ATTR_MATRIX_MODE), 0);
    m_provider.SetValue(QL_ATTR_MATRIX_MODE, 3);
    EXPECT_EQ(m_provider.GetInteger(QL_ATTR_MATRIX_MODE), 3);
}

// At saturation 1.4 the elements are 1.2 and -0.1, in 1/1024 trunc(1229.3) = 1229 and
// trunc(-101.9) = -101: (1229 * 10000 - 101 * 50000) / 1024 = 7070.3 and so on.
const Samples kPixel{10000, 20000, 30000};
const Samples kAt14{7070, 20058, 33046};
// At 1.25: 1.125 and -0.0625, 1152 and trunc(-63.5) = -63.
const Samples kAt125{8173, 20039, 31904};

TEST_F(MatrixStages, SaturationAloneMixesPixels) {
    CSaturationStage stage(&m_tree);
    EXPECT_EQ(RunColor(stage, kPixel), kPixel);
    EXPECT_FALSE(stage.IsActive());
    stage.SetSaturation(1.4);
    EXPECT_EQ(RunColor(stage, kPixel), kAt14);
    EXPECT_TRUE(stage.IsActive());
    stage.SetSaturation(1.019);  // 1.0095 and -0.00475 count as the identity
    EXPECT_EQ(RunColor(stage, kPixel), kPixel);
    EXPECT_FALSE(stage.IsActive());
}

TEST_F(MatrixStages, TheBoostComesBehindTheLimit) {
    CSaturationStage plain(&m_tree);
    CDeviceMatrixStage device(&m_tree);
    m_provider.Provide(QL_ATTR_SATURATION_BOOST, 1);
    for (CSaturationStage* stage : {&plain, static_cast<CSaturationStage*>(&device)}) {
        stage->SetSaturation(1.25);
        EXPECT_EQ(RunColor(*stage, kPixel), kAt14);
        EXPECT_EQ(stage->GetSaturation(), 1.25);
        stage->SetSaturation(1.5);  // cut: 1.25 and -0.125, 1280 and trunc(-127.5) = -127
        EXPECT_EQ(RunColor(*stage, kPixel), (Samples{6298, 20039, 33779}));
    }
    // A stage that is made later reads the boost: 1.15 gives 1.075 and -0.0375, 1101 and -37.
    CTmaMatrixStage late(&m_tree);
    EXPECT_EQ(RunColor(late, kPixel), (Samples{8945, 20058, 31171}));
    late.SetMode(QL_MATRIX_IDENTITY);
    late.SetMode(QL_MATRIX_COLOR);
    EXPECT_EQ(RunColor(late, kPixel), (Samples{8945, 20058, 31171})) << "built anew";
    late.SetSaturation(1.25);
    m_provider.SetValue(QL_ATTR_SATURATION_BOOST, 2);
    EXPECT_EQ(RunColor(late, kPixel), kAt125) << "only the value 1 boosts";
    // The plain stage's own rebuild of mode 0 leaves the boost out, the others keep it.
    m_provider.SetValue(QL_ATTR_SATURATION_BOOST, 1);
    for (CSaturationStage* stage : {&plain, static_cast<CSaturationStage*>(&device)}) {
        stage->SetSaturation(1.25);
        stage->SetMode(QL_MATRIX_IDENTITY);
        stage->SetMode(QL_MATRIX_COLOR);
    }
    EXPECT_EQ(RunColor(plain, kPixel), kAt125);
    EXPECT_EQ(RunColor(device, kPixel), kAt14);
}

TEST_F(MatrixStages, ModesPickChannelsOrWeighThem) {
    // 0.3, 0.59 and 0.11 in 1/1024: 307, 604, 113. (3070000 + 12080000 + 3390000) / 1024.
    const Samples gray(3, 18105);
    std::vector<std::unique_ptr<CSaturationStage>> stages;
    stages.push_back(std::make_unique<CSaturationStage>(&m_tree));
    stages.push_back(std::make_unique<CDeviceMatrixStage>(&m_tree));
    stages.push_back(std::make_unique<CTmaMatrixStage>(&m_tree));
    for (const auto& stage : stages) {
        const auto run = [&](std::int32_t mode) {
            stage->SetMode(mode);
            return RunColor(*stage, kPixel);
        };
        EXPECT_EQ(run(1), gray);
        EXPECT_EQ(run(2), Samples(3, 10000));
        EXPECT_EQ(run(3), Samples(3, 20000));
        EXPECT_EQ(run(4), Samples(3, 30000));
        EXPECT_EQ(run(6), Samples(3, 30000)) << "an unknown mode leaves the matrix";
        EXPECT_EQ(run(5), kPixel);
        EXPECT_EQ(run(-1), kPixel);
        EXPECT_EQ(run(0), kPixel);
    }
    // A saturation that is set in another mode replaces the plain stage's matrix alone.
    for (const auto& stage : stages) {
        stage->SetMode(1);
        stage->SetSaturation(1.4);
    }
    EXPECT_EQ(RunColor(*stages[0], kPixel), kAt14);
    EXPECT_EQ(RunColor(*stages[1], kPixel), gray);
    EXPECT_EQ(RunColor(*stages[2], kPixel), gray);
    stages[1]->SetMode(0);
    EXPECT_EQ(RunColor(*stages[1], kPixel), kAt14);
}

TEST_F(MatrixStages, SaturationIsAppliedBehindTheProfileMatrix) {
    ProvideMatrix(QL_ATTR_DEVICE_MATRIX, {1, 0, 0, 0, 1, 0, 0, 0, 0.5});
    ProvideMatrix(QL_ATTR_TMA_MATRIX, {1, 0, 0, 0, 1, 0, 0, 0, 0.5});
    CDeviceMatrixStage device(&m_tree);
    CTmaMatrixStage tma(&m_tree);
    for (CSaturationStage* stage :
         {static_cast<CSaturationStage*>(&device), static_cast<CSaturationStage*>(&tma)}) {
        EXPECT_EQ(RunColor(*stage, {20000, 30000, 40000}), (Samples{20000, 30000, 20000}));
        stage->SetSaturation(1.5);
        // Rows 1.25, -0.125, -0.0625 and so on; in 1/1024 1280, -127, -63 and 640 for blue's own.
        EXPECT_EQ(RunColor(*stage, {20000, 30000, 40000}), (Samples{18818, 32558, 18798}));
    }
}

TEST_F(MatrixStages, ProfileTablesArriveByAnnouncement) {
    CDeviceMatrixStage device(&m_tree);
    CTmaMatrixStage tma(&m_tree);
    ProvideMatrix(QL_ATTR_DEVICE_MATRIX, {0, 1, 0, 0, 0, 1, 1, 0, 0});
    EXPECT_EQ(RunColor(device, kPixel), (Samples{20000, 30000, 10000}));
    EXPECT_EQ(RunColor(tma, kPixel), kPixel) << "has an id of its own";
    m_provider.SetValue(QL_ATTR_DEVICE_MATRIX, 0);
    EXPECT_EQ(RunColor(device, kPixel), (Samples{20000, 30000, 10000})) << "null leaves it";
    // 2.5 on the diagonal is cut to 1.98, in 1/1024 trunc(2028.02).
    ProvideMatrix(QL_ATTR_TMA_MATRIX, {2.5, 0, 0, 0, 2.5, 0, 0, 0, 2.5});
    EXPECT_EQ(RunColor(tma, {10000, 10000, 10000}), Samples(3, 19804));

    device.SetMode(QL_MATRIX_GRAY);
    tma.SetMode(QL_MATRIX_GRAY);
    double weights[3] = {0.25, 0.5, 0.25};
    m_provider.Provide(QL_ATTR_GRAY_WEIGHTS, PointerWord(weights));
    EXPECT_EQ(RunColor(device, {10000, 20000, 30002}), Samples(3, 20000));
    EXPECT_EQ(RunColor(tma, kPixel), Samples(3, 18105)) << "has fixed weights";
    weights[1] = 0.55;  // sums to 1.05
    m_provider.Notify(QL_ATTR_GRAY_WEIGHTS);
    EXPECT_EQ(RunColor(device, Samples(3, kFullScale)), Samples(3, kFullScale));
    m_provider.SetValue(QL_ATTR_GRAY_WEIGHTS, 0);
    device.SetMode(QL_MATRIX_RED);
    device.SetMode(QL_MATRIX_GRAY);
    EXPECT_EQ(RunColor(device, Samples(3, kFullScale)), Samples(3, kFullScale));
}

TEST_F(MatrixStages, AnyNumberInAProfileIsDefined) {
    CDeviceMatrixStage device(&m_tree);
    device.SetMode(QL_MATRIX_GRAY);
    double weights[3] = {12.0, 0.0, 0.0};
    m_provider.Provide(QL_ATTR_GRAY_WEIGHTS, PointerWord(weights));
    EXPECT_EQ(RunColor(device, {5000, 9, 9}), Samples(3, 60000)) << "a strong row that still fits";
    weights[1] = 1e300;
    weights[2] = -std::numeric_limits<double>::infinity();
    m_provider.Notify(QL_ATTR_GRAY_WEIGHTS);
    // Held at 10, 10 and -10.
    EXPECT_EQ(RunColor(device, {1000, 2000, 500}), Samples(3, 25000));
    EXPECT_EQ(RunColor(device, {kFullScale, kFullScale, 0}), Samples(3, kFullScale));
    EXPECT_EQ(RunColor(device, {0, 0, kFullScale}), Samples(3, 0));
    weights[0] = weights[1] = weights[2] = std::numeric_limits<double>::quiet_NaN();
    m_provider.Notify(QL_ATTR_GRAY_WEIGHTS);
    RunColor(device, kPixel);
}

TEST_F(MatrixStages, AWindowFadesTheMatrixIn) {
    m_provider.Provide(QL_ATTR_DEVICE_WINDOW_LOW, IntegerWord(64));
    m_provider.Provide(QL_ATTR_DEVICE_WINDOW_HIGH, IntegerWord(32));
    CDeviceMatrixStage device(&m_tree);
    // Red and green mixed half and half; blue takes blue less red. Window 12288 to 20480, 8192
    // wide.
    ProvideMatrix(QL_ATTR_DEVICE_MATRIX, {0.5, 0.5, 0, 0.5, 0.5, 0, -1, 0, 1});
    const std::vector<std::pair<Samples, Samples>> cases{
        {{20480, 0, 100}, {10240, 10240, 0}},       // one sample at the end: all of the matrix
        {{100, 20480, 0}, {10290, 10290, 0}},       // whichever it is
        {{2000, 100, 20480}, {1050, 1050, 18481}},  // -1 is -1023 / 1024
        {{20479, 12288, 12288},
         {16382, 12288, 12288}},  // red by (8191 * 4095) / 8192 = 4094.5, cut
        {{16384, 14336, 12000}, {13824, 13056, 12000}},  // both are mixed to 15360: 3072 * 1/2, 1/4
        {{12289, 12282, 0}, {12288, 12282, 0}},          // (1 * -3) / 8192, cut to 0
        {{16385, 8185, 0}, {12287, 8185, 0}},            // (4097 * -3) / 8192 = -1.5, cut to -1
        {{13000, 0, 19000}, {11785, 0, 7146}},           // by 712 * -5788 and 6712 * -6276
    };
    for (const auto& [in, out] : cases)
        EXPECT_EQ(RunColor(device, in), out) << in[0];
    // Without a window every pixel takes the matrix; with one of no width those that reach it.
    m_provider.SetValue(QL_ATTR_DEVICE_WINDOW_LOW, 0);
    m_provider.SetValue(QL_ATTR_DEVICE_WINDOW_HIGH, 0);
    EXPECT_EQ(RunColor(device, {0, 10, 0}), (Samples{5, 5, 0}));
    m_provider.SetValue(QL_ATTR_DEVICE_WINDOW_LOW, IntegerWord(64));
    EXPECT_EQ(RunColor(device, {16383, 10, 0, 16384, 10, 0}),
              (Samples{16383, 10, 0, 8197, 8197, 0}));
    // A strong matrix may lead below 0 on the way.
    m_provider.SetValue(QL_ATTR_DEVICE_WINDOW_HIGH, IntegerWord(128));
    EXPECT_EQ(RunColor(device, {32767, 0, 31000}), (Samples{16382, 0, 0}));
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t center : {-kMost - 1, 0, kMost}) {
        for (const std::int32_t width : {-kMost - 1, -1, 1, 1 << 22, kMost}) {
            m_provider.SetValue(QL_ATTR_DEVICE_WINDOW_LOW, IntegerWord(center));
            m_provider.SetValue(QL_ATTR_DEVICE_WINDOW_HIGH, IntegerWord(width));
            RunColor(device, {0, 30000, 65535});  // stays within its integers
        }
    }
}

TEST_F(MatrixStages, OtherFormatsPass) {
    CSaturationStage stage(&m_tree);
    stage.SetMode(QL_MATRIX_RED);
    CLineSource gray = GraySource(&m_tree, 3, {1, 2, 3});
    EXPECT_EQ(RunPass(gray, stage).Samples(), (Samples{1, 2, 3}));
    EXPECT_FALSE(stage.IsActive());
    const std::vector<std::uint8_t> bytes{1, 2, 3, 4, 5, 6};
    for (const std::uint32_t type : {QL_PIXEL_RGB8, QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE}) {
        for (const std::uint32_t layout : {QL_LAYOUT_AS_IS, QL_LAYOUT_INTERNAL}) {
            if (type == QL_PIXEL_RGB8 && layout == QL_LAYOUT_INTERNAL)
                continue;  // is not 8-bit then
            CLineSource source(&m_tree, type, 2, bytes, layout);
            EXPECT_EQ(RunPass(source, stage).m_bytes, bytes);
        }
    }
    EXPECT_EQ(RunColor(stage, kPixel), Samples(3, 10000)) << "and colour is mixed again";
}

TEST_F(MatrixStages, AChangeDuringAScanWaitsForTheNext) {
    CSaturationStage stage(&m_tree);
    CLineSource source = ColorSource(&m_tree, 1, kPixel);
    stage.SetUpstream(&source);
    ASSERT_EQ(stage.Open(), QL_OK);
    stage.SetMode(QL_MATRIX_RED);
    CQLLineBuffer buffer(stage.GetOutputFormat());
    ASSERT_TRUE(buffer.Resize(1));
    std::int32_t lines = 1;
    ASSERT_EQ(stage.Read(&lines, &buffer), QL_OK);
    EXPECT_EQ(Samples(buffer.Samples(), buffer.Samples() + 3), kPixel);
    stage.Close();
    EXPECT_EQ(RunPass(stage).Samples(), Samples(3, 10000));
}

TEST_F(MatrixStages, ColoursAreTransformedWithoutTheWindow) {
    m_provider.Provide(QL_ATTR_DEVICE_WINDOW_LOW, IntegerWord(200));
    m_provider.Provide(QL_ATTR_DEVICE_WINDOW_HIGH, IntegerWord(10));
    CDeviceMatrixStage stage(&m_tree);
    stage.SetSaturation(1.4);
    QLColorQuery query;
    const auto ask = [&] {
        std::copy(kPixel.begin(), kPixel.end(), query.Samples());
        stage.TransformColor(&query);
        return Samples(query.Samples(), query.Samples() + 3);
    };
    EXPECT_EQ(ask(), kPixel) << "nobody upstream";
    EXPECT_EQ(RunColor(stage, kPixel), kPixel) << "below the window";
    CLineSource source = ColorSource(&m_tree, 1, kPixel);
    RunPass(source, stage);
    EXPECT_EQ(ask(), kAt14);
    stage.SetSaturation(1.019);  // counts as the identity
    RunPass(source, stage);
    EXPECT_EQ(ask(), kPixel);
    stage.SetSaturation(1.4);
    CLineSource gray = GraySource(&m_tree, 1, {1});
    RunPass(gray, stage);
    EXPECT_EQ(ask(), kPixel);
}

}  // namespace
