#include "pictures/sample_picture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "frame/fixed_point.h"
#include "pictures/bitmap_layout.h"
#include "pictures/picture_writer.h"
#include "pictures/sample_scene.h"

namespace {

constexpr std::int32_t kStripShare = 9;  // the strip takes this part of the picture's height
constexpr CColor kBlack = {0.0, 0.0, 0.0};
constexpr CColor kWhite = {255.0, 255.0, 255.0};

// Primaries, secondaries, and what eyes are used to: skin, leaves, sky, brick, paper.
constexpr CColor kPatches[] = {
    {200.0, 30.0, 40.0},  {40.0, 150.0, 60.0},   {40.0, 60.0, 160.0},   {0.0, 150.0, 180.0},
    {180.0, 60.0, 140.0}, {240.0, 210.0, 30.0},  {226.0, 180.0, 152.0}, {128.0, 84.0, 66.0},
    {92.0, 112.0, 62.0},  {104.0, 140.0, 190.0}, {176.0, 92.0, 60.0},   {240.0, 234.0, 220.0},
};
constexpr std::int32_t kSteps = 11;                           // of the gray wedge
constexpr std::int32_t kPeriods[] = {2, 3, 4, 6, 8, 12, 16};  // of line patterns, in pixels

// From 0, black, to 255.
CColor Gray(double value) {
    return {value, value, value};
}

// The part of `count` equal parts of a line of `width` pixels in which pixel `x` lies.
std::int32_t PartOf(std::int32_t x, std::int32_t width, std::size_t count) {
    return static_cast<std::int32_t>(std::int64_t{x} * static_cast<std::int64_t>(count) / width);
}

// The test strip, top to bottom: a gray ramp, colour patches, and line patterns beside a gray
// wedge.
CColor StripAt(std::int32_t width, std::int32_t height, std::int32_t x, std::int32_t line) {
    switch (PartOf(line, height, 3)) {
        case 0:
            return Gray(255.0 * (x + 0.5) / width);
        case 1:
            return kPatches[PartOf(x, width, std::size(kPatches))];
        default:
            break;
    }
    const std::int32_t half = width / 2;
    if (x < half) {
        const std::int32_t period = kPeriods[PartOf(x, half, std::size(kPeriods))];
        return x % period < period / 2 ? kBlack : kWhite;
    }
    return Gray(255.0 * PartOf(x - half, width - half, kSteps) / (kSteps - 1));
}

// Rounded, and held at the ends.
std::uint8_t ToByte(double value) {
    return static_cast<std::uint8_t>(Clamp(RoundToI32(value), 0, 255));
}

// Linear light of every encoded value, both from 0 to 255: a cubic that keeps to the sRGB curve
// within half a percent.
std::array<double, 256> LinearLight() {
    std::array<double, 256> table;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double c = static_cast<double>(i) / 255.0;
        table[i] = 255.0 * c * (c * (c * 0.305306011 + 0.682171111) + 0.012522878);
    }
    return table;
}

// What a scanner measures of a line of `count` samples, in place. Eight bits of linear light are
// few for the shadows; noise of one step, which every sensor has, keeps them from breaking into
// bands.
void ToLinear(std::uint8_t* samples, std::size_t count, std::int32_t line) {
    constexpr std::uint32_t kNoiseSeed = 300;
    static const std::array<double, 256> table = LinearLight();
    for (std::size_t i = 0; i < count; ++i) {
        const double noise = SampleRandom(static_cast<std::int64_t>(i), line, kNoiseSeed);
        samples[i] = static_cast<std::uint8_t>(std::min(table[samples[i]] + noise, 255.0));
    }
}

// Brightness as the eye weighs it, in place.
void ToGray(std::uint8_t* bgr, std::int32_t width) {
    std::uint8_t* gray = bgr;
    for (std::int32_t i = 0; i < width; ++i, bgr += 3)
        *gray++ = static_cast<std::uint8_t>((11 * bgr[0] + 59 * bgr[1] + 30 * bgr[2] + 50) / 100);
}

}  // namespace

void DrawSampleLine(std::int32_t width, std::int32_t height, std::int32_t line, std::uint8_t* bgr) {
    const std::int32_t strip = height / kStripShare;
    const std::int32_t sceneLines = height - strip;
    // The scene's height is 1 unit, however wide the picture; pixels are asked at their centres.
    const double scale = sceneLines;
    const double y = (line + 0.5) / scale;
    for (std::int32_t i = 0; i < width; ++i, bgr += 3) {
        const CColor color = line < sceneLines
                                 ? SampleSceneAt(scale, (i + 0.5 - 0.5 * width) / scale, y)
                                 : StripAt(width, strip, i, line - sceneLines);
        bgr[0] = ToByte(color.m_blue);
        bgr[1] = ToByte(color.m_green);
        bgr[2] = ToByte(color.m_red);
    }
}

// One line at a time is held, whatever the size of the picture.
bool WriteSamplePicture(const CSampleJob& job, CPictureWriter& writer) {
    const std::int32_t bits = job.m_gray ? 8 : 24;
    BITMAPINFOHEADER info = MakeInfoHeader(job.m_width, job.m_height, bits);
    info.biXPelsPerMeter = PelsPerMeter(job.m_dpi);
    info.biYPelsPerMeter = info.biXPelsPerMeter;
    std::vector<RGBQUAD> grays(info.biClrUsed);
    FillGrayRamp(grays);
    bool ok = writer.Begin(info, grays);
    // Lines are drawn in colour, and made gray where they lie.
    std::vector<std::uint8_t> row(static_cast<std::size_t>(BitmapStride(job.m_width, 24)));
    for (std::int32_t line = 0; ok && line < job.m_height; ++line) {
        if (job.m_cancelled && job.m_cancelled())
            return false;
        DrawSampleLine(job.m_width, job.m_height, line, row.data());
        if (!job.m_encoded)
            ToLinear(row.data(), static_cast<std::size_t>(job.m_width) * 3, line);
        if (job.m_gray)
            ToGray(row.data(), job.m_width);
        ok = writer.Write(row.data(), static_cast<std::size_t>(BitmapStride(job.m_width, bits)));
    }
    return ok && writer.Finish();
}
