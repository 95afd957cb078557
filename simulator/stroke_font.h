// Lettering for the built-in pages: letters as strokes of a round pen, for any size.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

// A letter at one size: how much of each pixel the pen covers, 0 to 255.
struct CGlyph {
    int m_width = 0;
    int m_height = 0;
    int m_margin = 0;   // pixels left of and above the letter's corner, for the pen
    int m_advance = 0;  // to the next letter
    std::vector<std::uint8_t> m_coverage;  // empty until the letter is drawn
};

class CStrokeFont {
  public:
    // Capitals are `capHeight` pixels high.
    explicit CStrokeFont(int capHeight) : m_capHeight(capHeight) {}

    // The letter's size; letters that the font doesn't have are blanks.
    const CGlyph& Measure(char letter);
    // The same letter, drawn.
    const CGlyph& Paint(char letter);

  private:
    const int m_capHeight;
    std::map<char, CGlyph> m_glyphs;
};
