// What a person sees of a scan that is under way.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

// On a terminal a bar with rate and remaining time, on standard error; it is wiped when a page
// ends. A line for each whole page goes to standard output. Nothing when it is quiet.
class CScanProgress {
  public:
    // `isOutputTaken`: standard output holds a picture, and lines go to standard error.
    explicit CScanProgress(bool isQuiet, bool isOutputTaken = false);
    ~CScanProgress();
    CScanProgress(const CScanProgress&) = delete;
    CScanProgress& operator=(const CScanProgress&) = delete;

    // A page begins, with 0 percent.
    void Begin(int page);
    // Bytes of the page that came, for the rate.
    void Add(std::int64_t bytes) { m_bytes += bytes; }
    void Show(int page, int percent);
    // The page is whole; the line goes to standard output.
    void EndPage(const std::string& line);

  private:
    using CClock = std::chrono::steady_clock;

    const bool m_isQuiet;
    const bool m_isOutputTaken;
    const bool m_hasBar;
    CClock::time_point m_begin;
    CClock::time_point m_lastShown;
    std::int64_t m_bytes = 0;
};

// The bar's line: "page 2 [#####-----] 50 %  12.5 MB/s  0:03 left". `seconds` since the page began.
std::string ProgressText(int page, int percent, std::int64_t bytes, double seconds);
