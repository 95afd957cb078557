// Feeds pixels of internal lines to what a tone analyser collects: three histograms and the lists
// of the brightest and the darkest pixels. Runs in analysis passes only, where it may not cost more
// than the rest of the pass: lines are fed by runs of columns, and no pixel is asked whether it
// lies in a window.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/histogram.h"
#include "frame/pixel_list.h"
#include "frame/rect.h"
#include "stages/tone_sampling_kernels.h"

// Pixels of a line, `stride` samples from one to the next. Gray ones stand for three equal samples.
struct QLPixelRun {
    const std::uint16_t* m_samples = nullptr;
    std::size_t m_count = 0;
    std::size_t m_stride = 3;
    bool m_color = true;

    std::size_t Green() const { return m_color ? 1 : 0; }
    std::size_t Blue() const { return m_color ? 2 : 0; }
    // Of neighbouring pixels.
    QLSampleRange Range() const { return FindRange(m_samples, m_count * m_stride); }
    template <typename List>
    void OfferEach(List& list) const {
        const std::uint16_t* p = m_samples;
        for (std::size_t i = 0; i < m_count; ++i, p += m_stride)
            list.Offer(p[0], p[Green()], p[Blue()]);
    }
    QLPixelRun Block(std::size_t first, std::size_t count) const {
        return From(first, std::min(count, m_count - first));
    }
    // The columns `first` to `last`, both included, as far as the line has them.
    QLPixelRun Columns(std::int64_t first, std::int64_t last) const {
        const auto count = static_cast<std::int64_t>(m_count);
        const auto begin = std::clamp<std::int64_t>(first, 0, count);
        const auto end = std::clamp<std::int64_t>(last + 1, begin, count);
        return From(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
    }
    // Each `step`-th pixel, from `first` on.
    QLPixelRun Every(std::size_t step, std::size_t first) const {
        if (first >= m_count)
            return From(0, 0);
        QLPixelRun run = From(first, (m_count - first + step - 1) / step);
        run.m_stride = m_stride * step;
        return run;
    }

  private:
    QLPixelRun From(std::size_t first, std::size_t count) const {
        return {m_samples + first * m_stride, count, m_stride, m_color};
    }
};

// Does a line belong to a window, whose edges are part of it?
constexpr bool HoldsLine(const QLRect& rect, std::int32_t y) {
    return y >= rect.top && y <= rect.bottom;
}

// Counts sample >> 4 in the histograms of red, green and blue, of 4096 bins each.
template <typename Analyser>
void CountRun(const QLPixelRun& run, Analyser& analyser) {
    std::uint32_t* const red = analyser.Histogram(0).Bins();
    std::uint32_t* const green = analyser.Histogram(1).Bins();
    std::uint32_t* const blue = analyser.Histogram(2).Bins();
    const std::uint16_t* p = run.m_samples;
    for (std::size_t i = 0; i < run.m_count; ++i, p += run.m_stride) {
        ++red[p[0] >> CQLHistogram::kToneShift];
        ++green[p[run.Green()] >> CQLHistogram::kToneShift];
        ++blue[p[run.Blue()] >> CQLHistogram::kToneShift];
    }
}

// Offers all pixels in their order, block by block: nearly all blocks are refused by their
// extremes.
template <typename Brightest>
void OfferPixels(const QLPixelRun& run, Brightest* bright, CDarkestPixelList* dark) {
    constexpr std::size_t kBlock = 64;
    for (std::size_t first = 0; first < run.m_count; first += kBlock) {
        const QLPixelRun block = run.Block(first, kBlock);
        const QLSampleRange range = block.Range();
        if (bright && 3 * range.m_most > bright->Threshold())
            block.OfferEach(*bright);
        if (dark && 3 * range.m_least < dark->Threshold())
            block.OfferEach(*dark);
    }
}

// Histograms and both lists.
template <typename Analyser>
void FeedFully(const QLPixelRun& run, Analyser& analyser) {
    // Without memory for a histogram there is nothing to count into, and nothing to analyse.
    if (!analyser.IsComplete())
        return;
    CountRun(run, analyser);
    OfferPixels(run, &analyser.BrightestList(), &analyser.DarkestList());
}

// Around the window that counts, all pixels are offered to the brightest list, and each fifth is
// fed fully. `counter` is how many went by since the last such pixel, and goes on from run to run.
template <typename Analyser>
void FeedRing(const QLPixelRun& run, Analyser& analyser, std::size_t* counter) {
    constexpr std::size_t kRing = 5;
    if (!analyser.IsComplete())
        return;
    OfferPixels(run, &analyser.BrightestList(), nullptr);
    const QLPixelRun fifths = run.Every(kRing, kRing - 1 - *counter);
    CountRun(fifths, analyser);
    fifths.OfferEach(analyser.DarkestList());
    *counter = (*counter + run.m_count) % kRing;
}

// The line `y` of an image, as far as it lies in a window.
template <typename Analyser>
void FeedWindow(const QLPixelRun& line, std::int32_t y, const QLRect& window, Analyser& analyser) {
    if (HoldsLine(window, y))
        FeedFully(line.Columns(window.left, window.right), analyser);
}

// The same with a ring around the window, up to the edges of `outer`.
template <typename Analyser>
void FeedWindowAndRing(const QLPixelRun& line, std::int32_t y, const QLRect& window,
                       const QLRect& outer, Analyser& analyser, std::size_t* counter) {
    // Of gray lines the ring isn't looked at.
    const auto ring = [&](std::int64_t first, std::int64_t last) {
        if (line.m_color)
            FeedRing(line.Columns(first, last), analyser, counter);
    };
    if (HoldsLine(window, y)) {
        ring(outer.left, std::int64_t{window.left} - 1);
        FeedWindow(line, y, window, analyser);
        ring(std::int64_t{window.right} + 1, outer.right);
    } else if (HoldsLine(outer, y)) {
        ring(outer.left, outer.right);
    }
}
