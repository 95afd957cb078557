// Each stage alone, pulling 20 lines at a time from a source that copies them from memory. The row
// "Source" is what that copy costs by itself.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "bench/bench_page.h"
#include "stages/auto_tone.h"
#include "stages/auto_tone_photo.h"
#include "stages/auto_tone_tma.h"
#include "stages/band_sink.h"
#include "stages/channel_curve.h"
#include "stages/dark_neutral.h"
#include "stages/density_balance.h"
#include "stages/density_color.h"
#include "stages/destreak.h"
#include "stages/device_matrix.h"
#include "stages/encoded_input.h"
#include "stages/encoding_curve.h"
#include "stages/histogram_stage.h"
#include "stages/input_convert.h"
#include "stages/invert.h"
#include "stages/line_sharpen.h"
#include "stages/lut_sharpen.h"
#include "stages/mirror.h"
#include "stages/noise_smooth.h"
#include "stages/output_convert.h"
#include "stages/output_format.h"
#include "stages/palette.h"
#include "stages/rotate.h"
#include "stages/smooth.h"
#include "stages/threshold.h"
#include "stages/tma_matrix.h"
#include "stages/tone_levels.h"

namespace {

constexpr std::int32_t kBandLines = 20;

// Delivers lines of one format out of a few bands that stay in the processor's cache.
class CBandSource final : public CQLSourceStage {
  public:
    CBandSource(QLAttribTree* tree, std::uint32_t pixelType, std::int32_t width)
        : CQLSourceStage(tree) {
        const bool wide = pixelType == QL_PIXEL_RGB16 || pixelType == QL_PIXEL_GRAY16;
        m_outFormat.SetLayout(wide ? QL_LAYOUT_INTERNAL : QL_LAYOUT_AS_IS);
        m_outFormat.SetPixelType(pixelType);
        m_outFormat.SetWidth(width);
        m_outFormat.SetHeight(1 << 30);
        const std::int32_t bits = m_outFormat.m_samplesPerPixel == 3 ? 24 : 8;
        const std::vector<std::uint8_t>& page = BenchPage(kPageWidth, kPageHeight, bits);
        const std::size_t bandBytes =
            static_cast<std::size_t>(m_outFormat.m_bytesPerLine) * kBandLines;
        m_bytes.resize(bandBytes);
        // From the middle of the picture, where its detail is.
        const std::size_t first = page.size() / 2 / 3 * 3;
        for (std::size_t i = 0; i < bandBytes; ++i)
            m_bytes[i] = page[(first + (wide ? i / 2 : i)) % page.size()];
    }
    void SetHeight(std::int32_t height) { m_outFormat.SetHeight(height); }
    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override {
        std::memcpy(buffer->Data(), m_bytes.data(),
                    static_cast<std::size_t>(*lines) *
                        static_cast<std::size_t>(m_outFormat.m_bytesPerLine));
        return QL_OK;
    }

  private:
    std::vector<std::uint8_t> m_bytes;
};

// A board on which every attribute that a stage may read has a value that makes it work.
class CBenchBoard final : public CQLAttribStore {
  public:
    explicit CBenchBoard(QLAttribTree* tree) : CQLAttribStore(tree) {}

    void Provide(std::int32_t id, std::uint64_t word) {
        m_words.emplace_back(id, word);
        RegisterProvider(id);
    }
    std::uint64_t GetAttrib(std::int32_t id) override {
        for (const auto& [known, word] : m_words) {
            if (known == id)
                return word;
        }
        return 0;
    }

  private:
    std::vector<std::pair<std::int32_t, std::uint64_t>> m_words;
};

constexpr double kMatrix[9] = {1.499, -0.144, -0.146, -0.051, 1.328, -0.078, 0.013, -0.268, 1.423};

constexpr double kDensity[18] = {0.3, -0.2, 0.15, 0.4,  -0.1, 0.05, 0.7, 0.6, 0.2,
                                 0.1, 0.5,  -0.3, -0.4, 1.1,  0.25, 0.9, 0.0, 0.35};

void ProvideSettings(CBenchBoard& board, bool fading, bool neutral) {
    for (std::int32_t id = QL_ATTR_TONE_GAMMA_R; id <= QL_ATTR_TONE_GAMMA_B; ++id)
        board.Provide(id, ToFixed(1.1));
    for (std::int32_t id = QL_ATTR_TONE_GAIN_R; id <= QL_ATTR_TONE_GAIN_B; ++id)
        board.Provide(id, ToFixed(1.0));
    board.Provide(QL_ATTR_GRAY_TONE_GAIN, ToFixed(1.0));
    board.Provide(QL_ATTR_GRAY_TONE_GAMMA, ToFixed(1.1));
    for (std::int32_t i = 3; i < 9; ++i) {  // gains, then gammas
        board.Provide(QL_ATTR_NEG_CURVE_0 + i, ToFixed(1.1));
        board.Provide(QL_ATTR_SLIDE_CURVE_0 + i, ToFixed(1.1));
    }
    board.Provide(QL_ATTR_DARK_PULL, 20);
    board.Provide(QL_ATTR_SHARPEN_ON, 1);
    board.Provide(QL_ATTR_SHARPEN_TABLE_0, 40);  // the usual strength
    board.Provide(QL_ATTR_SHARPEN_TABLE_1, 49);  // one that needs its table
    board.Provide(QL_ATTR_DEVICE_MATRIX, PointerWord(kMatrix));
    board.Provide(QL_ATTR_TMA_MATRIX, PointerWord(kMatrix));
    if (!neutral) {
        board.Provide(QL_ATTR_DENSITY_MATRIX, PointerWord(kDensity));
        board.Provide(QL_ATTR_POST_MATRIX, PointerWord(kMatrix));
    }
    if (fading) {
        board.Provide(QL_ATTR_DEVICE_WINDOW_LOW, 40);
        board.Provide(QL_ATTR_DEVICE_WINDOW_HIGH, 40);
    }
}

template <typename Stage>
std::unique_ptr<CQLStage> Make(QLAttribTree* tree) {
    return std::make_unique<Stage>(tree);
}

std::unique_ptr<CQLStage> MakeInvert(QLAttribTree* tree) {
    auto stage = std::make_unique<CInvertStage>(tree);
    stage->SetAttrib(QL_ATTR_INVERT, 1);
    return stage;
}

// The density balance as a stage: a part of the slides' tone, which does other work beside.
class CBalanceStage final : public CInPlaceStage {
  public:
    explicit CBalanceStage(QLAttribTree* tree) : CInPlaceStage(tree) {}
    QLStatus OnAfterOpen() override {
        m_active = m_balance.Ready();
        m_balance.SetOffsets(60000, 58000, 50000);
        m_curve.BuildGamma(1.2);
        return QL_OK;
    }

  private:
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override {
        m_balance.ApplyPixels(m_curve, samples, count);
        return QL_OK;
    }

    CDensityBalance m_balance;
    CQLLut m_curve{CQLLut::kFullSize, CQLLut::kPlain};
};

std::unique_ptr<CQLStage> MakeSaturation(QLAttribTree* tree) {
    auto stage = std::make_unique<CSaturationStage>(tree);
    stage->SetAttrib(QL_ATTR_SATURATION, ToFixed(1.3));
    return stage;
}

std::unique_ptr<CQLStage> MakeSmooth(QLAttribTree* tree) {
    auto stage = std::make_unique<CSmoothStage>(tree);
    stage->SetAttrib(QL_ATTR_SMOOTH_ON, 1);
    return stage;
}

// The stage hears of its settings, which the board has.
class CDestreakSettings {
  public:
    explicit CDestreakSettings(QLAttribTree* tree, bool rebuilds) : m_board(tree) {
        m_board.Provide(QL_ATTR_DESTREAK_B, 1);
        m_board.Provide(QL_ATTR_DESTREAK_D, rebuilds ? 3 : 0);
        m_board.Provide(QL_ATTR_DESTREAK_E, 1000);
        m_board.Provide(QL_ATTR_DESTREAK_F, 40000);
    }

  private:
    CBenchBoard m_board;
};

template <bool kRebuilds>
std::unique_ptr<CQLStage> MakeDestreak(QLAttribTree* tree) {
    const CDestreakSettings settings(tree, kRebuilds);
    return std::make_unique<CDestreakStage>(tree);
}

std::unique_ptr<CQLStage> MakeTableSharpen(QLAttribTree* tree) {
    auto stage = std::make_unique<CLutSharpenStage>(tree);
    stage->SetAttrib(QL_ATTR_SHARPEN_LEVEL, 1);
    return stage;
}

std::unique_ptr<CQLStage> MakeLineSharpen(QLAttribTree* tree) {
    auto stage = std::make_unique<CLineSharpenStage>(tree);
    stage->SetAttrib(QL_ATTR_LINE_SHARPEN_ON, 2);
    return stage;
}

std::unique_ptr<CQLStage> MakeOutputConvert(QLAttribTree* tree) {
    auto stage = std::make_unique<COutputConvertStage>(tree);
    stage->SetTargetLayout(QL_LAYOUT_BITMAP_ROWS);
    return stage;
}

std::unique_ptr<CQLStage> MakeMirror(QLAttribTree* tree) {
    auto stage = std::make_unique<CMirrorStage>(tree);
    stage->SetAttrib(QL_ATTR_MIRROR, 1);
    return stage;
}

struct Row {
    const char* name;
    std::unique_ptr<CQLStage> (*make)(QLAttribTree* tree);  // null: the source by itself
    std::uint32_t pixelType;
    std::int32_t outputType = QL_OUTPUT_COLOR;
    bool encoded = false;
    bool fading = false;
    bool neutral = false;  // density without its matrices
};

constexpr Row kRows[] = {
    {"Source/Color8", nullptr, QL_PIXEL_BGR8},
    {"Source/Color16", nullptr, QL_PIXEL_RGB16},
    {"Source/Gray16", nullptr, QL_PIXEL_GRAY16},
    {"Input/Color8", Make<CEncodedInputStage>, QL_PIXEL_BGR8},
    {"Input/Color8Encoded", Make<CEncodedInputStage>, QL_PIXEL_BGR8_ENCODED, QL_OUTPUT_COLOR, true},
    {"Input/Gray8", Make<CEncodedInputStage>, QL_PIXEL_GRAY8},
    {"LineSharpen/Color16", MakeLineSharpen, QL_PIXEL_RGB16},
    {"NoiseSmooth/Color16", Make<CNoiseSmoothStage>, QL_PIXEL_RGB16},
    {"NoiseSmooth/Gray16", Make<CNoiseSmoothStage>, QL_PIXEL_GRAY16},
    {"LutSharpen/Color16", Make<CLutSharpenStage>, QL_PIXEL_RGB16},
    {"LutSharpen/Color16ByTable", MakeTableSharpen, QL_PIXEL_RGB16},
    {"LutSharpen/Gray16", Make<CLutSharpenStage>, QL_PIXEL_GRAY16},
    {"Destreak/Color16", MakeDestreak<false>, QL_PIXEL_RGB16},
    {"Destreak/Gray16", MakeDestreak<false>, QL_PIXEL_GRAY16},
    {"Destreak/Color16Rebuilding", MakeDestreak<true>, QL_PIXEL_RGB16},
    {"Smooth/Color16", MakeSmooth, QL_PIXEL_RGB16},
    {"Smooth/Gray16", MakeSmooth, QL_PIXEL_GRAY16},
    {"Mirror/Color16", MakeMirror, QL_PIXEL_RGB16},
    {"Mirror/Gray16", MakeMirror, QL_PIXEL_GRAY16},
    {"Histogram/Color16", Make<CHistogramStage>, QL_PIXEL_RGB16},
    {"Histogram/Gray16", Make<CHistogramStage>, QL_PIXEL_GRAY16},
    {"ToneLevels/Color16", Make<CToneLevelsStage>, QL_PIXEL_RGB16},
    {"ToneLevels/Gray16", Make<CToneLevelsStage>, QL_PIXEL_GRAY16},
    {"ChannelCurve/Color16", Make<CChannelCurveStage>, QL_PIXEL_RGB16},
    {"DarkNeutral/Color16", Make<CDarkNeutralStage>, QL_PIXEL_RGB16},
    {"AutoTonePhoto/Color16", Make<CAutoTonePhotoStage>, QL_PIXEL_RGB16},
    {"AutoTonePhoto/Gray16", Make<CAutoTonePhotoStage>, QL_PIXEL_GRAY16},
    {"AutoToneSlide/Color16", Make<CAutoToneTmaStage>, QL_PIXEL_RGB16},
    {"AutoToneNegative/Color16", Make<CAutoToneStage>, QL_PIXEL_RGB16},
    {"EncodingCurve/Color16", Make<CEncodingCurveStage>, QL_PIXEL_RGB16},
    {"EncodingCurve/Gray16", Make<CEncodingCurveStage>, QL_PIXEL_GRAY16},
    {"DensityColor/Color16", Make<CDensityColorStage>, QL_PIXEL_RGB16},
    {"DensityColor/Color16Neutral", Make<CDensityColorStage>, QL_PIXEL_RGB16, QL_OUTPUT_COLOR,
     false, false, true},
    {"DensityBalance/Color16", Make<CBalanceStage>, QL_PIXEL_RGB16},
    {"DeviceMatrix/Color16", Make<CDeviceMatrixStage>, QL_PIXEL_RGB16},
    {"DeviceMatrix/Color16Fading", Make<CDeviceMatrixStage>, QL_PIXEL_RGB16, QL_OUTPUT_COLOR, false,
     true},
    {"Saturation/Color16", MakeSaturation, QL_PIXEL_RGB16},
    {"TmaMatrix/Color16", Make<CTmaMatrixStage>, QL_PIXEL_RGB16},
    {"OutputFormat/ToGray", Make<COutputFormatStage>, QL_PIXEL_RGB16, QL_OUTPUT_GRAY},
    {"Invert/Color16", MakeInvert, QL_PIXEL_RGB16},
    {"Threshold/Gray16", Make<CThresholdStage>, QL_PIXEL_GRAY16, QL_OUTPUT_LINE_ART},
    {"Palette/Color16", Make<CPaletteStage>, QL_PIXEL_RGB16, QL_OUTPUT_INDEXED},
    {"Palette/Gray16Dots", Make<CPaletteStage>, QL_PIXEL_GRAY16, QL_OUTPUT_HALFTONE},
    {"Output/Color16", MakeOutputConvert, QL_PIXEL_RGB16},
    {"Output/Gray16", MakeOutputConvert, QL_PIXEL_GRAY16},
};

void Stage(benchmark::State& state, const Row& row) {
    const std::int32_t width = kPageWidth * static_cast<std::int32_t>(state.range(0));
    const std::int32_t height = kPageHeight * static_cast<std::int32_t>(state.range(0));
    QLAttribTree tree;
    CBenchBoard board(&tree);
    ProvideSettings(board, row.fading, row.neutral);
    CBandSource source(&tree, row.pixelType, width);
    std::unique_ptr<CQLStage> stage;
    CQLStage* tail = &source;
    if (row.make) {
        stage = row.make(&tree);
        // The output form holds its own data type; the others ask the board.
        if (auto* form = dynamic_cast<COutputFormatStage*>(stage.get()))
            form->SetAttrib(QL_ATTR_OUTPUT_TYPE, IntegerWord(row.outputType));
        else
            board.Provide(QL_ATTR_OUTPUT_TYPE, IntegerWord(row.outputType));
        stage->SetUpstream(&source);
        stage->OnAttribNotify(QL_ATTR_OUTPUT_TYPE);
        tail = stage.get();
    }
    if (tail->Open() != QL_OK || (stage && !stage->IsActive())) {
        state.SkipWithError("the stage does nothing");
        return;
    }
    CQLLineBuffer buffer(tail->GetOutputFormat());
    buffer.Resize(kBandLines);
    for (auto _ : state) {
        for (std::int32_t line = 0; line < height; line += kBandLines) {
            std::int32_t lines = kBandLines;
            tail->Read(&lines, &buffer);
            benchmark::ClobberMemory();
        }
    }
    tail->Close();
    const double lines = (height + kBandLines - 1) / kBandLines * kBandLines;
    state.counters["MPixel/s"] = benchmark::Counter(
        width * lines / 1e6 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// Opens with another midtone each time, so that all tables are built.
template <typename Tone>
void Rebuild(benchmark::State& state) {
    QLAttribTree tree;
    CBandSource source(&tree, QL_PIXEL_RGB16, kPageWidth);
    Tone stage(&tree);
    stage.SetUpstream(&source);
    std::int32_t level = 0;
    for (auto _ : state) {
        level = level == 30 ? -30 : 30;
        stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(level));
        stage.SetAttrib(QL_ATTR_HUE_X, ToFixed(level / 100.0));
        stage.Open();
        stage.Close();
    }
}
BENCHMARK(Rebuild<CAutoTonePhotoStage>)->Unit(benchmark::kMillisecond);
BENCHMARK(Rebuild<CAutoToneTmaStage>)->Unit(benchmark::kMillisecond);
BENCHMARK(Rebuild<CAutoToneStage>)->Unit(benchmark::kMillisecond);
// Whole images: the file is made, filled and read, 32 lines at a time as the chain does.
void Rotate(benchmark::State& state, std::uint32_t pixelType) {
    constexpr std::int32_t kTurnedLines = 32;
    QLAttribTree tree;
    CBandSource source(&tree, pixelType, kPageWidth);
    source.SetHeight(kPageHeight);
    CRotateStage stage(&tree);
    stage.SetAttrib(QL_ATTR_ROTATE_ANGLE, IntegerWord(static_cast<std::int32_t>(state.range(0))));
    stage.SetUpstream(&source);
    CQLLineBuffer buffer(stage.GetOutputFormat());
    for (auto _ : state) {
        std::int32_t lines = stage.Open() == QL_OK && buffer.Resize(kTurnedLines) ? 1 : 0;
        while (stage.IsLoading()) {
            std::int32_t taken = kBandLines;
            stage.Load(&taken);
        }
        while (lines > 0) {
            lines = kTurnedLines;
            stage.Read(&lines, &buffer);
        }
        stage.Close();
    }
    state.counters["MPixel/s"] = benchmark::Counter(
        double{kPageWidth} * kPageHeight / 1e6 * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}

const bool g_registered = [] {
    for (const auto& [name, type] :
         {std::pair{"Rotate/Color16", QL_PIXEL_RGB16}, std::pair{"Rotate/Gray16", QL_PIXEL_GRAY16}})
        benchmark::RegisterBenchmark(name, [type](benchmark::State& s) { Rotate(s, type); })
            ->Arg(90)
            ->Arg(180)
            ->Arg(270)
            ->Unit(benchmark::kMillisecond);
    for (const Row& row : kRows) {
        benchmark::RegisterBenchmark(row.name,
                                     [&row](benchmark::State& state) { Stage(state, row); })
            ->Arg(1)
            ->Arg(kLargeFactor)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
