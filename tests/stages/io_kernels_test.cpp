// Line kernels at the ends of the chain against plain forms, at awkward sizes, on random and
// extreme input. The build compiles this file and the kernels once more for each instruction set
// that the kernels are dispatched to.

#include <gtest/gtest.h>

#include <random>

#include "stages/invert_kernels.h"
#include "stages/output_convert.h"
#include "stages/output_format_kernels.h"
#include "stages/threshold_kernels.h"
#include "tests/support/stage_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

// Around the widths of vector registers, and two that are no multiple of anything.
constexpr std::size_t kSizes[] = {0, 1, 7, 8, 9, 15, 16, 17, 258, 533};

// Random samples, a quarter of them at an edge of the range or of a byte. The same every time.
Samples AwkwardSamples(std::size_t count) {
    constexpr std::uint16_t kEdges[] = {0, 0xFFFF, 0x8000, 0x7FFF, 0x00FF, 0xFF00, 1, 0xFFFE};
    std::mt19937 random(static_cast<std::uint32_t>(count) + 1);
    Samples samples(count);
    for (std::uint16_t& sample : samples) {
        const auto word = static_cast<std::uint32_t>(random());
        sample = word % 4 == 0 ? kEdges[word / 4 % 8] : static_cast<std::uint16_t>(word >> 16);
    }
    return samples;
}

// Two lines of the internal form in one of the output's layouts; padding that is skipped is 0xFF.
Bytes Convert(std::uint32_t type, std::size_t width, const Samples& lines, std::uint32_t layout) {
    QLAttribTree tree;
    CLineSource source(&tree, type, static_cast<std::int32_t>(width), BytesOf(lines));
    COutputConvertStage stage(&tree);
    stage.SetTargetLayout(layout);
    return RunPass(source, stage).m_bytes;
}

TEST(OutputKernels, GiveTheSameBitsAsOnePixelAtATime) {
    for (const std::size_t width : kSizes) {
        if (width == 0)
            continue;
        const Samples colour = AwkwardSamples(2 * 3 * width);
        const std::size_t colourRow = (3 * width + 3) / 4 * 4;
        Bytes rows(2 * colourRow, 0xFF), packed;
        for (std::size_t i = 0; i < colour.size(); ++i) {
            const std::size_t y = i / (3 * width), x = i % (3 * width) / 3, c = i % 3;
            rows[y * colourRow + 3 * x + 2 - c] = static_cast<std::uint8_t>(colour[i] / 256);
            packed.push_back(static_cast<std::uint8_t>(colour[i] / 256));
        }
        EXPECT_EQ(Convert(QL_PIXEL_RGB16, width, colour, 4), rows) << width;
        EXPECT_EQ(Convert(QL_PIXEL_RGB16, width, colour, 5), packed) << width;

        const Samples gray = AwkwardSamples(2 * width);
        const std::size_t grayRow = (width + 3) / 4 * 4;
        Bytes plain(2 * grayRow, 0xFF), complemented(2 * grayRow, 0xFF);
        for (std::size_t i = 0; i < gray.size(); ++i) {
            const std::size_t at = i / width * grayRow + i % width;
            plain[at] = static_cast<std::uint8_t>(gray[i] / 256);
            complemented[at] = static_cast<std::uint8_t>(255 - gray[i] / 256);
        }
        EXPECT_EQ(Convert(QL_PIXEL_GRAY16, width, gray, 4), plain) << width;
        EXPECT_EQ(Convert(QL_PIXEL_GRAY16, width, gray, 3), complemented) << width;
    }
}

TEST(ChainEndKernels, GiveTheSameBitsAsOneValueAtATime) {
    for (const std::size_t count : kSizes) {
        const Samples pixels = AwkwardSamples(3 * count);
        Samples green(count + 1, 0xA5A5), expected(count + 1, 0xA5A5);
        for (std::size_t i = 0; i < 3 * count; ++i) {
            if (i % 3 == 1)
                expected[i / 3] = pixels[i];
        }
        TakeGreen(pixels.data(), green.data(), count);
        EXPECT_EQ(green, expected) << count;

        Bytes bytes = BytesOf(AwkwardSamples(count / 2 + 1));
        bytes.resize(count + 1);
        Bytes turned = bytes;
        for (std::size_t i = 0; i < count; ++i)
            turned[i] = static_cast<std::uint8_t>(255 - bytes[i]);
        ComplementBytes(bytes.data(), count);
        EXPECT_EQ(bytes, turned) << count;
    }
}

TEST(ThresholdKernels, GiveTheSameBitsAsOnePixelAtATime) {
    for (const std::size_t width : kSizes) {
        const Samples samples = AwkwardSamples(width);
        for (const int t : {0, 1, 255, 28160, 0x7FFF, 0x8000, 65534, 65535}) {
            Bytes expected((width + 7) / 8 + 1, 0);
            expected.back() = 0xA5;  // not a byte more
            for (std::size_t x = 0; x < width; ++x) {
                if (samples[x] > t)
                    expected[x / 8] = static_cast<std::uint8_t>(expected[x / 8] + (128 >> x % 8));
            }
            Bytes bits(expected.size(), 0xA5);
            BinarizeLine(samples.data(), width, static_cast<std::uint16_t>(t), bits.data());
            EXPECT_EQ(bits, expected) << width << " above " << t;
        }
        std::vector<std::uint32_t> bins(65536, 3), counted(65536, 3);
        for (const std::uint16_t sample : samples)
            ++counted[sample];
        CountSamples(samples.data(), width, bins.data());
        EXPECT_EQ(bins, counted) << width;
    }
    std::vector<std::uint32_t> bins(65536, 0);
    CountSamples(Samples(1000, 65535).data(), 1000, bins.data());
    EXPECT_EQ(bins[65535], 1000u) << "one long run";
}

}  // namespace
