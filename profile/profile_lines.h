// Profile text, line by line and token by token.
//
// A line ends with a line feed. One that is longer than 512 characters is read in pieces of 512,
// each of which counts as a line. A last line without its line feed isn't seen. Tokens are
// separated by blanks, commas, tabs, carriage returns and line feeds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

class CProfileLines {
  public:
    static constexpr std::size_t kMaxLine = 512;

    // `text` ends with a zero byte and stays the caller's. The reader stands before the first line.
    explicit CProfileLines(const char* text) : m_next(text) {}

    // False at the end of the text.
    bool NextLine();
    // The next token of the line; empty when there is none left.
    std::string_view NextToken();

    // "//" at the very start of the line. Only who looks for a key takes it for one.
    bool IsComment() const { return m_line.substr(0, 2) == "//"; }
    // The first is 1; pieces of one line have its number.
    std::uint32_t Number() const { return m_number; }

  private:
    const char* m_next;
    std::string_view m_line;
    std::uint32_t m_number = 1;
    bool m_ended = false;  // the line has its line feed
};

// The number that a token begins with, in decimal, 0 if it begins with none; whatever the locale.
// `used` takes the characters that belong to it, 0 for none.
double ParseProfileNumber(std::string_view token, std::size_t* used = nullptr);
