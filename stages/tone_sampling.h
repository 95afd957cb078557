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

// Pixels of a line, `stride` samples from one to the next. Gray ones stand for three equal samples.
struct QLPixelRun {
    const std::uint16_t* m_samples = nullptr;
    std::size_t m_count = 0;
    std::size_t m_stride = 3;
    bool m_color = true;

    std::size_t Green() const { return m_color ? 1 : 0; }
    std::size_t Blue() const { return m_color ? 2 : 0; }
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
void CountPixels(const QLPixelRun& run, std::uint32_t* red, std::uint32_t* green,
                 std::uint32_t* blue);

// Offers all pixels in their order. Nearly all are refused by their sum, here.
template <typename List>
void OfferBright(const QLPixelRun& run, List& list) {
    const std::uint16_t* p = run.m_samples;
    const std::size_t green = run.Green();
    const std::size_t blue = run.Blue();
    std::int32_t threshold = list.Threshold();
    for (std::size_t i = 0; i < run.m_count; ++i, p += run.m_stride) {
        if (std::int32_t{p[0]} + p[green] + p[blue] > threshold) {
            list.Offer(p[0], p[green], p[blue]);
            threshold = list.Threshold();
        }
    }
}
void OfferDark(const QLPixelRun& run, CDarkestPixelList& list);

// Histograms and both lists.
template <typename Analyser>
void FeedFully(const QLPixelRun& run, Analyser& analyser) {
    // Without memory for a histogram there is nothing to count into, and nothing to analyse.
    if (!analyser.IsComplete())
        return;
    CountPixels(run, analyser.Histogram(0).Bins(), analyser.Histogram(1).Bins(),
                analyser.Histogram(2).Bins());
    OfferBright(run, analyser.BrightestList());
    OfferDark(run, analyser.DarkestList());
}

// Around the window that counts, all pixels are offered to the brightest list, and each fifth is
// fed fully. `counter` is how many went by since the last such pixel, and goes on from run to run.
template <typename Analyser>
void FeedRing(const QLPixelRun& run, Analyser& analyser, std::size_t* counter) {
    constexpr std::size_t kRing = 5;
    if (!analyser.IsComplete())
        return;
    OfferBright(run, analyser.BrightestList());
    const QLPixelRun fifths = run.Every(kRing, kRing - 1 - *counter);
    CountPixels(fifths, analyser.Histogram(0).Bins(), analyser.Histogram(1).Bins(),
                analyser.Histogram(2).Bins());
    OfferDark(fifths, analyser.DarkestList());
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
