// The tone analysers: the tables that an open builds, and the searches of an analysis, on
// statistics as a picture leaves them.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>

#include "analysis/negative_analyser.h"
#include "analysis/photo_analyser.h"
#include "analysis/slide_analyser.h"

namespace {

// Counts a bell of densities into each channel: a picture `brightness` stops off the middle, with a
// cast of `cast` density between neighbouring channels.
template <typename Analyser>
void Collect(Analyser& analyser, double density, double cast) {
    analyser.StartCollect();
    for (std::int32_t i = -300; i <= 300; ++i) {
        const double off = i / 100.0;
        const auto weight = static_cast<std::int32_t>(2000.0 * std::exp(-off * off / 2.0));
        std::uint16_t pixel[3];
        for (std::int32_t c = 0; c < 3; ++c) {
            const double d = std::max(density + cast * c + 0.25 * off, 0.0);
            pixel[c] = static_cast<std::uint16_t>(65535.0 * std::pow(10.0, -d));
            analyser.Histogram(c).Bins()[pixel[c] >> CQLHistogram::kToneShift] +=
                static_cast<std::uint32_t>(weight);
        }
        for (std::int32_t k = 0; k < std::min(weight, 3); ++k)
            analyser.BrightestList().Offer(pixel[0], pixel[1], pixel[2]);
    }
}

// Exposure and colour of a negative with its orange mask; the arguments are the expose flag and the
// kind of film.
void BM_SearchNegative(benchmark::State& state) {
    CNegativeToneAnalyser analyser(0.0);
    analyser.SetExposeFlag(state.range(0) != 0);
    analyser.SetSampleMode(static_cast<std::int32_t>(state.range(1)));
    Collect(analyser, 0.7, 0.25);
    for (auto _ : state) {
        analyser.SetHighlight(0);
        analyser.SetShadow(0);
        analyser.SetMidtone(0);
        analyser.Analyse(QL_ANALYSE_TONE_AND_COLOR);
    }
}
BENCHMARK(BM_SearchNegative)
    ->Args({0, QL_SAMPLE_COLOR})
    ->Args({1, QL_SAMPLE_COLOR})
    ->Args({0, QL_SAMPLE_MONO})
    ->Unit(benchmark::kMillisecond);

template <typename Analyser>
void BM_SearchLevels(benchmark::State& state) {
    QLAttribTree tree;
    Analyser analyser(&tree);
    analyser.SetExposeFlag(state.range(0) != 0);
    Collect(analyser, 0.7, 0.05);
    for (auto _ : state)
        analyser.Analyse(QL_ANALYSE_TONE_AND_COLOR);
}
BENCHMARK_TEMPLATE(BM_SearchLevels, CPhotoToneAnalyser)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_SearchLevels, CSlideToneAnalyser)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);

// All tables anew, with every setting off its neutral value.
template <typename Analyser>
void Build(benchmark::State& state, Analyser& analyser) {
    std::int32_t level = 10;
    for (auto _ : state) {
        level = level == 10 ? 11 : 10;
        QLColorPoint point{0.2, level / 100.0};
        analyser.SetHighlight(-level);
        analyser.SetShadow(level);
        analyser.SetMidtone(level);
        analyser.SetPoint(point, QL_POINT_WHITE);
        analyser.SetPoint(point, QL_POINT_MID);
        analyser.BuildCurves();
        benchmark::DoNotOptimize(analyser.Lut(0)->At(1000));
    }
}

void BM_BuildNegative(benchmark::State& state) {
    CNegativeToneAnalyser analyser(0.0);
    analyser.SetSampleMode(static_cast<std::int32_t>(state.range(0)));
    Build(state, analyser);
}
BENCHMARK(BM_BuildNegative)
    ->Arg(QL_SAMPLE_COLOR)
    ->Arg(QL_SAMPLE_MONO)
    ->Unit(benchmark::kMillisecond);

template <typename Analyser>
void BM_BuildLevels(benchmark::State& state) {
    QLAttribTree tree;
    Analyser analyser(&tree);
    Build(state, analyser);
}
BENCHMARK_TEMPLATE(BM_BuildLevels, CPhotoToneAnalyser)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_BuildLevels, CSlideToneAnalyser)->Unit(benchmark::kMillisecond);

// The first tables of an engine, with the memory that they take.
void BM_FirstNegative(benchmark::State& state) {
    for (auto _ : state) {
        CNegativeToneAnalyser analyser(0.0);
        analyser.SetSampleMode(QL_SAMPLE_COLOR);
        analyser.BuildCurves();
        benchmark::DoNotOptimize(analyser.Lut(0)->At(1000));
    }
}
BENCHMARK(BM_FirstNegative)->Unit(benchmark::kMillisecond);

}  // namespace
