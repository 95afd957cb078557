// What the tests of tables, table stages and matrices share: one line through a stage, and lines in
// binary fractions worked out in whole-number division.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "frame/lut.h"
#include "tests/support/stage_rig.h"

using Samples = std::vector<std::uint16_t>;

// One line of internal samples through a stage.
inline Samples RunColor(CQLStage& stage, const Samples& line) {
    QLAttribTree tree;
    CLineSource source = ColorSource(&tree, static_cast<std::int32_t>(line.size() / 3), line);
    return RunPass(source, stage).Samples();
}
inline Samples RunGray(CQLStage& stage, const Samples& line) {
    QLAttribTree tree;
    CLineSource source = GraySource(&tree, static_cast<std::int32_t>(line.size()), line);
    return RunPass(source, stage).Samples();
}

inline Samples Entries(const CQLLut& lut) {
    return {lut.Table(), lut.Table() + lut.Size()};
}
// Pairs of an index and the entry that stands there.
inline void ExpectEntries(const CQLLut& lut, const std::vector<std::pair<int, int>>& expected) {
    for (const auto& [index, value] : expected)
        EXPECT_EQ(lut.At(index), value) << "entry " << index;
}

// The k-th value of a line that rises by dy over `run` steps from y0. The rise of one step keeps
// `bits` bits of fraction, cut towards zero; a value is cut downwards.
inline std::int64_t LineValue(std::int64_t y0, std::int64_t dy, std::int64_t run, std::int64_t k,
                              int bits = 15) {
    const std::int64_t one = std::int64_t{1} << bits;
    const std::int64_t sum = y0 * one + k * (dy * one / run);
    return sum / one - (sum % one < 0 ? 1 : 0);
}

// 65535 * (i / 65535)^(1 / gamma), to the nearest, full scale at most.
inline std::int64_t GammaNode(std::int32_t i, double gamma) {
    const double y = std::pow(i / 65535.0, 1.0 / gamma) * 65535.0;
    return std::min<std::int64_t>(std::llround(std::floor(y + 0.5)), 65535);
}

// A gamma curve of 65536 entries with nodes every `step` entries and lines between them.
inline Samples GammaEntries(double gamma, std::int32_t step) {
    Samples table;
    for (std::int32_t x = 0; x < 65536; ++x) {
        const std::int32_t i = x - x % step;
        const std::int64_t y0 = GammaNode(i, gamma);
        const std::int64_t dy = GammaNode(i + step, gamma) - y0;
        table.push_back(
            static_cast<std::uint16_t>(LineValue(y0, dy, std::min(step, 65535 - i), x - i)));
    }
    return table;
}
