// A whole chain to measure, from the input stream to the client's callback, on a page in memory.
#pragma once

#include <benchmark/benchmark.h>

#include "frame/output_type.h"

// What a page is made into, and by which settings of the device.
struct BenchChainSetting {
    std::int32_t outputType = QL_OUTPUT_COLOR;
    std::int32_t inputBits = 24;
    bool matrix = false;  // of the profile, in place of the neutral one; of a negative both
    bool levels = false;  // tone levels of the device's profile, in place of neutral ones
    bool film = false;
    bool negative = false;
    bool sampling = false;  // as in an analysis pass, without the analysis
    bool filters = true;    // smoothing and sharpening, which are on unless a user turns them off
    bool streaks = false;   // removed, red and blue rebuilt from green
};

// The page of bench_page.h, its sides times state.range(0); counts pixels of input.
void BenchChain(benchmark::State& state, const BenchChainSetting& setting);
