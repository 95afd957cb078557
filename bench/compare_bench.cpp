// Whole chains beside what libvips and Little CMS make of the same page in the same run, from
// memory to memory, a processor's time in all threads. Where a library has no step like the
// engine's it does the nearest that costs it less: smoothing and sharpening without their limits,
// and all tables of a chain in one.

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <cmath>
#include <cstdlib>
#include <vector>
#include <vips/vips8>

#include "bench/bench_chain.h"
#include "bench/bench_page.h"

namespace {

using vips::VImage;

constexpr int kBandLines = 20;
constexpr std::size_t kPixelBytes = 3;
constexpr double kPagePixels = double{kPageWidth} * kPageHeight;

void CountPixels(benchmark::State& state) {
    state.counters["MPixel/s"] = benchmark::Counter(
        kPagePixels / 1e6 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// ---- libvips

struct VipsSetting {
    bool filters = true;
    bool matrix = false;
    bool indexed = false;
};

// Black at 2.7 of 255, white at 80 percent, and an encoding, as one table.
VImage Curve() {
    std::vector<std::uint16_t> table(65536);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double level = (static_cast<double>(i) - 694.0) / (0xcccc - 694.0);
        table[i] = static_cast<std::uint16_t>(
            std::pow(std::min(std::max(level, 0.0), 1.0), 1.0 / 2.2) * 65535.0);
    }
    return VImage::new_from_memory(table.data(), table.size() * sizeof(table[0]), 65536, 1, 1,
                                   VIPS_FORMAT_USHORT)
        .copy_memory();
}

VImage VipsChain(const VipsSetting& setting, const VImage& curve) {
    const std::vector<std::uint8_t>& page = BenchPage(kPageWidth, kPageHeight, 24);
    const auto shift = [] { return VImage::option()->set("shift", true); };
    const auto integer = [] { return VImage::option()->set("precision", VIPS_PRECISION_INTEGER); };
    VImage image = VImage::new_from_memory(const_cast<std::uint8_t*>(page.data()), page.size(),
                                           kPageWidth, kPageHeight, 3, VIPS_FORMAT_UCHAR)
                       .cast(VIPS_FORMAT_USHORT, shift());
    if (setting.filters) {
        VImage mean = VImage::new_matrixv(3, 3, 1., 1., 1., 1., 1., 1., 1., 1., 1.);
        mean.set("scale", 9.0);
        image = image.conv(mean, integer());
    }
    if (setting.matrix) {
        const VImage matrix = VImage::new_matrixv(3, 3, 1.499, -0.144, -0.146, -0.051, 1.328,
                                                  -0.078, 0.013, -0.268, 1.423);
        image = image.recomb(matrix).cast(VIPS_FORMAT_USHORT);
    }
    image = image.maplut(curve);
    if (setting.filters) {
        VImage sharpen = VImage::new_matrixv(3, 3, 0., -1., 0., -1., 8., -1., 0., -1., 0.);
        sharpen.set("scale", 4.0);
        image = image.conv(sharpen, integer());
    }
    return image.cast(VIPS_FORMAT_UCHAR, shift())
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

// A strip of finished lines, in order.
int TakeStrip(VipsRegion* region, VipsRect* area, void* bytes) {
    benchmark::DoNotOptimize(VIPS_REGION_ADDR(region, area->left, area->top));
    *static_cast<std::size_t*>(bytes) += kPixelBytes * static_cast<std::size_t>(area->width) *
                                         static_cast<std::size_t>(area->height);
    return 0;
}

void Vips(benchmark::State& state, const VipsSetting& setting) {
    const VImage curve = Curve();
    std::size_t bytes = 0;
    for (auto _ : state) {
        const VImage image = VipsChain(setting, curve);
        if (setting.indexed) {
            // The only way to its palettes is a file: one in memory, uncompressed, its quickest.
            VipsBlob* blob = image.pngsave_buffer(VImage::option()
                                                      ->set("palette", true)
                                                      ->set("compression", 0)
                                                      ->set("filter", VIPS_FOREIGN_PNG_FILTER_NONE)
                                                      ->set("effort", 1));
            bytes += VIPS_AREA(blob)->length;
            vips_area_unref(VIPS_AREA(blob));
        } else if (vips_sink_disc(image.get_image(), TakeStrip, &bytes) != 0) {
            state.SkipWithError("no lines came out");
            break;
        }
    }
    if (bytes == 0)
        state.SkipWithError("no lines came out");
    CountPixels(state);
}

// ---- Little CMS

// A device of linear light with primaries of its own to sRGB: a matrix and a curve. From 8 bits
// these are its matrix and shapers; from 16 it takes a grid of its own making in their place.
void LittleCms(benchmark::State& state, bool deep) {
    const cmsCIExyY white = {0.3457, 0.3585, 1.0};
    const cmsCIExyYTRIPLE primaries = {{0.68, 0.31, 1.0}, {0.25, 0.68, 1.0}, {0.14, 0.06, 1.0}};
    cmsToneCurve* linear = cmsBuildGamma(nullptr, 1.0);
    cmsToneCurve* const curves[3] = {linear, linear, linear};
    cmsHPROFILE device = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHTRANSFORM transform = cmsCreateTransform(device, deep ? TYPE_BGR_16 : TYPE_BGR_8, srgb,
                                                 TYPE_BGR_8, INTENT_RELATIVE_COLORIMETRIC, 0);
    const std::vector<std::uint8_t>& page = BenchPage(kPageWidth, kPageHeight, 24);
    constexpr std::size_t kBandSamples = kPixelBytes * kPageWidth * kBandLines;
    std::vector<std::uint16_t> wide(kBandSamples);
    std::vector<std::uint8_t> out(kBandSamples);
    for (auto _ : state) {
        for (std::size_t done = 0; done < page.size(); done += kBandSamples) {
            const std::size_t samples = std::min(kBandSamples, page.size() - done);
            const void* source = page.data() + done;
            if (deep) {
                for (std::size_t i = 0; i < samples; ++i)
                    wide[i] = static_cast<std::uint16_t>(page[done + i] << 8);
                source = wide.data();
            }
            cmsDoTransform(transform, source, out.data(),
                           static_cast<cmsUInt32Number>(samples / kPixelBytes));
            benchmark::ClobberMemory();
        }
    }
    CountPixels(state);
    cmsDeleteTransform(transform);
    cmsCloseProfile(device);
    cmsCloseProfile(srgb);
    cmsFreeToneCurve(linear);
}

// ---- In the order in which they are to be compared

template <typename Run, typename Setting>
void Register(const char* name, Run run, const Setting& setting) {
    benchmark::RegisterBenchmark(name,
                                 [run, setting](benchmark::State& state) { run(state, setting); })
        ->Arg(1)
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMillisecond);
}

const bool g_registered = [] {
    // One thread each, also in the quantiser of indexed colour.
    setenv("OMP_NUM_THREADS", "1", 1);
    if (VIPS_INIT("compare_bench") != 0)
        return false;
    vips_concurrency_set(1);
    vips_cache_set_max(0);  // each run builds its operations anew
    BenchChainSetting chain;
    Register("Color/Chain", BenchChain, chain);
    Register("Color/libvips", Vips, VipsSetting{});
    chain.matrix = true;
    Register("ColorMatrix/Chain", BenchChain, chain);
    Register("ColorMatrix/libvips", Vips, VipsSetting{true, true});
    chain.filters = false;
    Register("MatrixAlone/Chain", BenchChain, chain);
    Register("MatrixAlone/libvips", Vips, VipsSetting{false, true});
    Register("MatrixAlone/LittleCms8", LittleCms, false);
    Register("MatrixAlone/LittleCms16", LittleCms, true);
    Register("Indexed/Chain", BenchChain, BenchChainSetting{QL_OUTPUT_INDEXED});
    Register("Indexed/libvips", Vips, VipsSetting{true, false, true});
    return true;
}();

}  // namespace
