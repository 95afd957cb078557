#include "tools/scan_progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "platform/terminal.h"
#include "tools/console.h"

// Into a file or a pipe no bar is drawn.
CScanProgress::CScanProgress(bool isQuiet, bool isOutputTaken)
    : m_isQuiet(isQuiet), m_isOutputTaken(isOutputTaken), m_hasBar(!isQuiet && IsErrorTerminal()) {}

CScanProgress::~CScanProgress() {
    WipePassingLine();
}

void CScanProgress::Begin(int page) {
    m_begin = CClock::now();
    m_lastShown = {};
    m_bytes = 0;
    Show(page, 0);
}

// At most ten times a second, and the end always.
void CScanProgress::Show(int page, int percent) {
    constexpr std::chrono::milliseconds kInterval(100);

    const CClock::time_point now = CClock::now();
    if (!m_hasBar || (now - m_lastShown < kInterval && percent < 100))
        return;
    m_lastShown = now;
    const std::chrono::duration<double> spent = now - m_begin;
    ShowPassingLine(ProgressText(page, percent, m_bytes, spent.count()));
}

void CScanProgress::EndPage(const std::string& line) {
    WipePassingLine();
    if (!m_isQuiet)
        (m_isOutputTaken ? std::cerr : std::cout) << line << std::endl;
}

// Rate and remaining time are left out until there is something to go by.
std::string ProgressText(int page, int percent, std::int64_t bytes, double seconds) {
    // Of the bar; a megabyte is a million bytes, as rates are told.
    constexpr int kCells = 20;
    constexpr double kMegabyte = 1e6;
    constexpr int kMinute = 60;

    percent = std::clamp(percent, 0, 100);
    const int filled = percent * kCells / 100;
    std::string text = "page " + std::to_string(page) + " [" +
                       std::string(static_cast<std::size_t>(filled), '#') +
                       std::string(static_cast<std::size_t>(kCells - filled), '-') + "] " +
                       std::to_string(percent) + " %";
    char part[64];
    if (seconds > 0 && bytes > 0) {
        std::snprintf(part, sizeof(part), "  %.1f MB/s",
                      static_cast<double>(bytes) / seconds / kMegabyte);
        text += part;
    }
    if (percent > 0 && percent < 100) {
        const int left = static_cast<int>(std::lround(seconds * (100 - percent) / percent));
        std::snprintf(part, sizeof(part), "  %d:%02d left", left / kMinute, left % kMinute);
        text += part;
    }
    return text;
}
