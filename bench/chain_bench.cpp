// Whole chains, each with its settings.

#include <benchmark/benchmark.h>

#include "bench/bench_chain.h"
#include "bench/bench_page.h"

namespace {

using Setting = BenchChainSetting;

Setting Sampling(bool film, bool negative) {
    Setting setting;
    setting.film = film;
    setting.negative = negative;
    setting.sampling = true;
    return setting;
}

void Register(const char* name, const Setting& setting) {
    benchmark::RegisterBenchmark(name,
                                 [setting](benchmark::State& state) { BenchChain(state, setting); })
        ->Arg(1)
        ->Arg(kLargeFactor)
        ->Unit(benchmark::kMillisecond);
}

const bool g_registered = [] {
    Register("Chain/ReflectiveColor", {QL_OUTPUT_COLOR, 24, false, false});
    Register("Chain/ReflectiveColorMatrix", {QL_OUTPUT_COLOR, 24, true, false});
    Register("Chain/ReflectiveColorMatrixLevels", {QL_OUTPUT_COLOR, 24, true, true});
    Register("Chain/ReflectiveGrayFromColor", {QL_OUTPUT_GRAY, 24, false, false});
    Register("Chain/ReflectiveGray", {QL_OUTPUT_GRAY, 8, false, false});
    Register("Chain/ReflectiveLineArtFromColor", {QL_OUTPUT_LINE_ART, 24, false, false});
    Register("Chain/ReflectiveLineArt", {QL_OUTPUT_LINE_ART, 8, false, false});
    Register("Chain/SlideColor", {QL_OUTPUT_COLOR, 24, false, false, true});
    Register("Chain/ReflectiveIndexed", {QL_OUTPUT_INDEXED, 24, false, false});
    Register("Chain/ReflectiveDithered", {QL_OUTPUT_HALFTONE, 24, false, false});
    Register("Chain/NegativeColor", {QL_OUTPUT_COLOR, 24, false, false, true, true});
    Register("Chain/NegativeColorMatrix", {QL_OUTPUT_COLOR, 24, true, false, true, true});
    Setting streaks;
    streaks.streaks = true;
    Register("Chain/ReflectiveColorStreaks", streaks);
    Register("Chain/ReflectiveColorSampling", Sampling(false, false));
    Register("Chain/SlideColorSampling", Sampling(true, false));
    Register("Chain/NegativeColorSampling", Sampling(true, true));
    return true;
}();

}  // namespace
