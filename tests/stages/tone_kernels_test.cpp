// Line kernels of the tone stages against plain forms, at awkward sizes, on random and extreme
// input. The build compiles this file and the kernels once more for each instruction set that the
// kernels are dispatched to.

#include <gtest/gtest.h>

#include <random>

#include "stages/input_convert.h"
#include "stages/lut_kernels.h"
#include "stages/matrix_kernels.h"
#include "tests/support/stage_rig.h"

namespace {

using Samples = std::vector<std::uint16_t>;

constexpr std::size_t kSizes[] = {0, 1, 2, 3, 5, 9, 258, 533};
constexpr std::size_t kGuard = 16;
constexpr std::uint16_t kGuardWord = 0xBEEF;

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

class ToneKernels : public testing::Test {
  protected:
    std::mt19937 m_random{7};

    int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }
    // Samples up to `most`, a third of them at the ends, then guard words.
    Samples Line(std::size_t count, int most = 65535) {
        Samples line(count + kGuard, kGuardWord);
        for (std::size_t i = 0; i < count; ++i) {
            const int kind = Pick(0, 5);
            line[i] = static_cast<std::uint16_t>(kind == 0 ? 0 : kind == 1 ? most : Pick(0, most));
        }
        return line;
    }
    Samples Table() {
        Samples table(65536);
        for (std::uint16_t& entry : table)
            entry = static_cast<std::uint16_t>(Pick(0, 65535));
        return table;
    }
    // Runs a plain form on pixels of three samples and compares.
    template <typename Plain>
    void ExpectPixels(const Samples& before, const Samples& after, const Plain& plain) {
        Samples expected = before;
        for (std::size_t i = 0; i + kGuard + 3 <= expected.size(); i += 3)
            plain(&expected[i]);
        ASSERT_EQ(after, expected) << (before.size() - kGuard) / 3 << " pixels";
    }
};

TEST_F(ToneKernels, TablesMapEverySampleAndNoMore) {
    const Samples tables[3] = {Table(), Table(), Table()};
    for (const std::size_t size : kSizes) {
        const Samples before = Line(size);
        Samples after = before;
        MapSamples(after.data(), size, tables[0].data());
        Samples expected = before;
        for (std::size_t i = 0; i < size; ++i)
            expected[i] = tables[0][before[i]];
        ASSERT_EQ(after, expected) << size;

        const Samples pixels = Line(3 * size);
        after = pixels;
        MapPixels(after.data(), size, tables[0].data(), tables[1].data(), tables[2].data());
        ExpectPixels(pixels, after, [&](std::uint16_t* p) {
            for (int c = 0; c < 3; ++c)
                p[c] = tables[c][p[c]];
        });
    }
}

TEST_F(ToneKernels, DarkPixelsArePulledByWholeSixteenths) {
    for (const std::int32_t limit : {0, 1, 436, 5957}) {
        for (const std::size_t size : kSizes) {
            const Samples before = Line(3 * size, limit * 2);
            Samples after = before;
            PullDarkPixels(after.data(), size, limit);
            ExpectPixels(before, after, [&](std::uint16_t* p) {
                const std::int64_t sum = p[0] + 2 * p[1] + p[2];
                if (sum >= 4 * limit)
                    return;
                const std::int64_t weight = 16 * (4 * limit - sum) / (4 * limit);
                for (int c = 0; c < 3; ++c) {
                    p[c] = static_cast<std::uint16_t>(
                        FloorDiv((16 - weight) * p[c] + weight * (sum / 4), 16));
                }
            });
        }
    }
}

// What the full matrix makes of a pixel, by elements in 1/1024.
std::int64_t Mixed(const std::int32_t* row, const std::uint16_t* p) {
    return FloorDiv(
        std::int64_t{row[0]} * p[0] + std::int64_t{row[1]} * p[1] + std::int64_t{row[2]} * p[2],
        1024);
}
std::uint16_t Held(std::int64_t v) {
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(v, 0, 65535));
}

class MatrixKernels : public ToneKernels {
  protected:
    // Neutral, gray, as strong as profiles may be, random ones, and as strong as 32 bits can bear.
    std::vector<std::vector<double>> Matrices() {
        std::vector<std::vector<double>> matrices{
            {1, 0, 0, 0, 1, 0, 0, 0, 1},
            {0.3, 0.59, 0.11, 0.3, 0.59, 0.11, 0.3, 0.59, 0.11},
            {1.98, -1.98, 1.98, -1.98, -1.98, -1.98, 1.98, 1.98, 1.98},
            {10, 10, 10, -12, -12, -12, 31.9, 0, -0.05},
        };
        for (int i = 0; i < 6; ++i) {
            std::vector<double> nine;
            for (int k = 0; k < 9; ++k)
                nine.push_back(Pick(-1980, 1980) / 1000.0);
            matrices.push_back(nine);
        }
        return matrices;
    }
};

TEST_F(MatrixKernels, ElementsAreCutTowardsZeroBehindAHalf) {
    const double nine[9] = {0.25, -0.25, 0.3, 0.59, 0.11, -0.0004, 1.98, -1.98, 0.00048828125};
    // 256.5, -255.5, 307.7, 604.66, 113.14, 0.09, 2028.02, -2027.02, 1
    constexpr std::int32_t kExpected[9] = {256, -255, 307, 604, 113, 0, 2028, -2027, 1};
    const QLFixedMatrix matrix(nine);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(matrix.m_k[i], kExpected[i]) << i;
}

TEST_F(MatrixKernels, PixelsAreMixedAndHeld) {
    for (const std::vector<double>& nine : Matrices()) {
        const QLFixedMatrix matrix(nine.data());
        for (const std::size_t size : kSizes) {
            const Samples before = Line(3 * size);
            Samples after = before;
            MixPixels(after.data(), size, matrix);
            ExpectPixels(before, after, [&](std::uint16_t* p) {
                const Samples in(p, p + 3);
                for (int c = 0; c < 3; ++c)
                    p[c] = Held(Mixed(matrix.m_k + 3 * c, in.data()));
            });
        }
    }
}

TEST_F(MatrixKernels, AWindowFadesEachSampleByItself) {
    constexpr QLFadeWindow kWindows[] = {{12288, 20480, 8192}, {-16384, 65536, 81920},
                                         {30000, 30000, 0},    {20480, 12288, -8192},
                                         {0, 65280, 65280},    {-536870912, 536870912, 1 << 30}};
    for (const std::vector<double>& nine : Matrices()) {
        const QLFixedMatrix matrix(nine.data());
        for (const QLFadeWindow& window : kWindows) {
            const Samples before = Line(3 * 533, Pick(0, 1) ? 65535 : 22000);
            Samples after = before;
            MixPixelsFading(after.data(), 533, matrix, window);
            ExpectPixels(before, after, [&](std::uint16_t* p) {
                const Samples in(p, p + 3);
                const bool full = *std::max_element(in.begin(), in.end()) >= window.high;
                for (int c = 0; c < 3; ++c) {
                    const std::int64_t mixed = Mixed(matrix.m_k + 3 * c, in.data());
                    if (full) {
                        p[c] = Held(mixed);
                    } else if (in[c] > window.low) {
                        p[c] = Held((in[c] - window.low) * (mixed - window.low) / window.width +
                                    window.low);
                    }
                }
            });
        }
    }
}

// A pixel type by its bytes: the place of each of its samples in a pixel and how a sample is read.
struct InputType {
    std::uint32_t type;
    std::size_t pixelBytes;
    std::vector<std::size_t> places;
    enum { kByte, kEncoded, kLowFirst, kHighFirst } reading;
    unsigned factor;
};

TEST_F(ToneKernels, InputLinesOfAnyWidthAreConverted) {
    const std::vector<InputType> types{
        {QL_PIXEL_RGB8, 3, {0, 1, 2}, InputType::kByte, 256},
        {QL_PIXEL_BGR8, 3, {2, 1, 0}, InputType::kByte, 256},
        {QL_PIXEL_XRGB8, 4, {1, 2, 3}, InputType::kByte, 256},
        {QL_PIXEL_GRAY8, 1, {0}, InputType::kByte, 256},
        {QL_PIXEL_RGB8_ENCODED, 3, {0, 1, 2}, InputType::kEncoded, 256},
        {QL_PIXEL_BGR8_ENCODED, 3, {2, 1, 0}, InputType::kEncoded, 256},
        {QL_PIXEL_GRAY8_ENCODED, 1, {0}, InputType::kEncoded, 256},
        {QL_PIXEL_RGB10_SWAPPED, 6, {0, 2, 4}, InputType::kHighFirst, 64},
        {QL_PIXEL_RGB12_SWAPPED, 6, {0, 2, 4}, InputType::kHighFirst, 16},
        {QL_PIXEL_RGB16_SWAPPED, 6, {0, 2, 4}, InputType::kHighFirst, 1},
        {QL_PIXEL_GRAY16_SWAPPED, 2, {0}, InputType::kHighFirst, 1},
        {QL_PIXEL_RGB12, 6, {0, 2, 4}, InputType::kLowFirst, 16},
        {QL_PIXEL_RGB16, 6, {0, 2, 4}, InputType::kLowFirst, 1},
        {QL_PIXEL_GRAY10, 2, {0}, InputType::kLowFirst, 64},
        {QL_PIXEL_GRAY12, 2, {0}, InputType::kLowFirst, 16},
        {QL_PIXEL_GRAY12_B, 2, {0}, InputType::kLowFirst, 16},
        {QL_PIXEL_GRAY16, 2, {0}, InputType::kLowFirst, 1},
    };
    CQLLut decode(CQLLut::kFullSize, CQLLut::kPlain);
    decode.BuildGammaLimited(2.2, 4.0);
    decode.Invert(decode);
    QLAttribTree tree;
    for (const InputType& t : types) {
        for (const std::size_t width : kSizes) {
            std::vector<std::uint8_t> bytes(3 * width * t.pixelBytes);
            for (std::uint8_t& byte : bytes)
                byte = static_cast<std::uint8_t>(Pick(0, 255));
            Samples expected;
            for (std::size_t pixel = 0; pixel < bytes.size(); pixel += t.pixelBytes) {
                for (const std::size_t place : t.places) {
                    const std::uint8_t* at = &bytes[pixel + place];
                    unsigned sample = at[0];
                    if (t.reading == InputType::kLowFirst)
                        sample = at[0] + 256u * at[1];
                    else if (t.reading == InputType::kHighFirst)
                        sample = 256u * at[0] + at[1];
                    sample = sample * t.factor % 65536;
                    expected.push_back(t.reading == InputType::kEncoded
                                           ? decode.At(static_cast<std::int32_t>(sample))
                                           : static_cast<std::uint16_t>(sample));
                }
            }
            CLineSource source(&tree, t.type, static_cast<std::int32_t>(width), bytes);
            CInputConvertStage stage(&tree);
            ASSERT_EQ(RunPass(source, stage, 2).Samples(), expected)
                << "type " << t.type << " width " << width;
        }
    }
}

}  // namespace
