// The line routines of the band loop, a page in bands of 20 lines. Scaling counts the pixels that
// come out; "Copy" is what moving the same bytes costs, for comparison.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/bench_page.h"
#include "frontend/scan_lines.h"
#include "platform/bitmap_headers.h"
#include "platform/pixel_order.h"

namespace {

constexpr DWORD kBandLines = 20;
// A line of this width isn't aligned, so that padding has to move it.
constexpr DWORD kWidth = kPageWidth + 1;

std::size_t RowStride(DWORD width, DWORD bits) {
    return static_cast<std::size_t>(BitmapStride(width, static_cast<std::int32_t>(bits)));
}

// A band that stays in the processor's cache, as the band loop's does.
std::vector<BYTE> Band(DWORD width, DWORD bits, DWORD lines = kBandLines) {
    const std::vector<BYTE>& page =
        BenchPage(kPageWidth, kPageHeight, static_cast<std::int32_t>(bits));
    std::vector<BYTE> band(RowStride(width, bits) * lines);
    const std::size_t first = page.size() / 2 / 3 * 3;
    for (std::size_t i = 0; i < band.size(); ++i)
        band[i] = page[(first + i) % page.size()];
    return band;
}

void Report(benchmark::State& state, double pixels) {
    state.counters["MPixel/s"] = benchmark::Counter(
        pixels / 1e6 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void Copy(benchmark::State& state) {
    const std::vector<BYTE> band = Band(kWidth, 24);
    std::vector<BYTE> target(band.size());
    for (auto _ : state) {
        std::memcpy(target.data(), band.data(), band.size());
        benchmark::ClobberMemory();
    }
    Report(state, kWidth * kBandLines);
}
BENCHMARK(Copy);

void Swap(benchmark::State& state) {
    std::vector<BYTE> band = Band(kWidth, 24);
    for (auto _ : state) {
        SwapRedBlue(band.data(), std::size_t{kWidth} * 3 * kBandLines);
        benchmark::ClobberMemory();
    }
    Report(state, kWidth * kBandLines);
}
BENCHMARK(Swap)->Name("SwapRedBlue");

void Pad(benchmark::State& state) {
    const DWORD bits = static_cast<DWORD>(state.range(0));
    std::vector<BYTE> band = Band(kWidth, bits);
    const auto lineBytes = static_cast<LONG>(kWidth * bits / 8);
    const auto stride = static_cast<LONG>(RowStride(kWidth, bits));
    for (auto _ : state) {
        PadScanLines(band.data(), lineBytes * static_cast<LONG>(kBandLines), stride, lineBytes);
        benchmark::ClobberMemory();
    }
    Report(state, kWidth * kBandLines);
}
BENCHMARK(Pad)->Name("PadScanLines")->Arg(24)->Arg(8);

// From 300 dots per inch to another resolution.
void Scale(benchmark::State& state) {
    const DWORD bits = static_cast<DWORD>(state.range(0));
    const DWORD resolution = static_cast<DWORD>(state.range(1));
    const std::vector<BYTE> band = Band(kWidth, bits);
    const DWORD width = kWidth * resolution / 300;
    const DWORD lines = kBandLines * resolution / 300;
    std::vector<BYTE> target(RowStride(width, bits) * lines);
    for (auto _ : state) {
        BilinearInterp(band.data(), target.data(), kWidth, width, kBandLines, lines, bits);
        benchmark::ClobberMemory();
    }
    Report(state, width * lines);
}
BENCHMARK(Scale)
    ->Name("BilinearInterp")
    ->Args({24, 200})
    ->Args({24, 100})
    ->Args({24, 299})
    ->Args({24, 600})
    ->Args({8, 200})
    ->Args({8, 600});

// A whole page, as the file medium has it.
void Flip(benchmark::State& state) {
    const BITMAPINFOHEADER info = MakeInfoHeader(kPageWidth, kPageHeight, 24);
    const BITMAPFILEHEADER file = MakeFileHeader(info, BitmapImageBytes(info));
    std::vector<BYTE> page(file.bfOffBits + RowStride(kPageWidth, 24) * kPageHeight);
    std::memcpy(page.data(), &file, sizeof(file));
    std::memcpy(page.data() + sizeof(file), &info, sizeof(info));
    for (auto _ : state) {
        if (FlipBitmapRows(page.data(), page.size()) != S_OK)
            state.SkipWithError("refused");
        benchmark::ClobberMemory();
    }
    Report(state, static_cast<double>(kPageWidth) * kPageHeight);
}
BENCHMARK(Flip)->Name("FlipBitmapRows")->Unit(benchmark::kMillisecond);

}  // namespace
