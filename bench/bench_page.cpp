#include "bench/bench_page.h"

#include <cstring>
#include <map>
#include <tuple>

#include "pictures/sample_picture.h"

namespace {

using Page = std::vector<std::uint8_t>;

Page DrawPage(std::int32_t width, std::int32_t height) {
    Page page(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    const std::size_t row = static_cast<std::size_t>(width) * 3;
    for (std::int32_t line = 0; line < height; ++line)
        DrawSampleLine(width, height, line, page.data() + row * static_cast<std::size_t>(line));
    return page;
}

// Every pixel `factor` times across and along: drawing a large page would take minutes.
Page Enlarge(const Page& page, std::int32_t width, std::int32_t height, std::int32_t factor) {
    const auto w = static_cast<std::size_t>(width);
    const auto f = static_cast<std::size_t>(factor);
    const std::size_t row = w * f * 3;
    Page large(row * static_cast<std::size_t>(height) * f);
    for (std::size_t line = 0; line < static_cast<std::size_t>(height); ++line) {
        std::uint8_t* first = large.data() + line * f * row;
        for (std::size_t x = 0; x < w * f; ++x)
            std::memcpy(first + 3 * x, page.data() + (line * w + x / f) * 3, 3);
        for (std::size_t i = 1; i < f; ++i)
            std::memcpy(first + i * row, first, row);
    }
    return large;
}

}  // namespace

const std::vector<std::uint8_t>& BenchPage(std::int32_t width, std::int32_t height,
                                           std::int32_t bits) {
    static std::map<std::tuple<std::int32_t, std::int32_t, std::int32_t>, Page> pages;
    Page& page = pages[{width, height, bits}];
    if (!page.empty())
        return page;
    if (bits == 8) {
        const Page& color = BenchPage(width, height, 24);
        page.resize(color.size() / 3);
        for (std::size_t i = 0; i < page.size(); ++i)
            page[i] = color[3 * i + 1];
    } else if (width == kPageWidth * kLargeFactor && height == kPageHeight * kLargeFactor) {
        page =
            Enlarge(BenchPage(kPageWidth, kPageHeight, 24), kPageWidth, kPageHeight, kLargeFactor);
    } else {
        page = DrawPage(width, height);
    }
    return page;
}
