// Draws the photograph of the built-in media at build time.

#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <vector>

#include "pictures/sample_scene.h"
#include "simulator/builtin_photo.h"
#include "simulator/display_curve.h"

namespace {

// What a sensor measures: linear light. Eight bits of it are few for the shadows; noise of one
// step, which every sensor has, keeps them from breaking into bands.
std::uint8_t Measured(double value, std::int64_t x, std::int64_t y) {
    constexpr std::uint32_t kNoiseSeed = 135;
    const double c = value < 0.0 ? 0.0 : (value > 255.0 ? 1.0 : value / 255.0);
    const double light = 255.0 * LightOfDisplayed(c);
    const double noisy = light + SampleRandom(x, y, kNoiseSeed);
    return static_cast<std::uint8_t>(noisy > 255.0 ? 255.0 : noisy);
}

int Run(const char* name) {
    std::ofstream out(name, std::ios::binary);
    const double scale = kPhotoHeight;
    std::vector<std::uint8_t> line;
    for (std::int32_t y = 0; y < kPhotoHeight; ++y) {
        line.clear();
        for (std::int32_t x = 0; x < kPhotoWidth; ++x) {
            const CColor color =
                SampleSceneAt(scale, (x + 0.5 - 0.5 * kPhotoWidth) / scale, (y + 0.5) / scale);
            line.push_back(Measured(color.m_red, std::int64_t{3} * x, y));
            line.push_back(Measured(color.m_green, std::int64_t{3} * x + 1, y));
            line.push_back(Measured(color.m_blue, std::int64_t{3} * x + 2, y));
        }
        out.write(reinterpret_cast<const char*>(line.data()),
                  static_cast<std::streamsize>(line.size()));
    }
    out.close();
    return out.good() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "draw_photo FILE\n");
        return 2;
    }
    try {
        return Run(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "draw_photo: %s\n", error.what());
        return 1;
    }
}
