// A picture to scan when there is none at hand: an evening at a lake, with a test strip below.
#pragma once

#include <cstdint>
#include <functional>

class CPictureWriter;

struct CSampleJob {
    std::int32_t m_width = 1240;  // an A4 page at 150 dpi
    std::int32_t m_height = 1754;
    std::int32_t m_dpi = 150;
    bool m_gray = false;  // 8 bits instead of 24
    // As screens show it and cameras store it, instead of the linear light that a scanner measures.
    bool m_encoded = false;
    std::function<bool()> m_cancelled;  // may be empty
};

// Writes the picture, line by line, to a writer that has not begun. False when that fails or is
// cancelled.
bool WriteSamplePicture(const CSampleJob& job, CPictureWriter& writer);

// Draws line `line`, counted from the top, of the picture at any size, as screens show it: `width`
// pixels, blue first. A line depends on nothing but these numbers and has the same bytes on every
// machine.
void DrawSampleLine(std::int32_t width, std::int32_t height, std::int32_t line, std::uint8_t* bgr);
