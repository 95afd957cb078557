#include "tools/page_files.h"

#include <cctype>
#include <charconv>
#include <filesystem>
#include <random>
#include <system_error>

#include "pictures/bitmap_layout.h"
#include "tools/bitmap_feed.h"
#include "tools/plot/counting_writer.h"

namespace fs = std::filesystem;

// ---- Names

// The number goes between the two parts of the name.
CPageName::CPageName(std::string pattern) {
    std::string* text = &m_before;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            *text += pattern[i];
            continue;
        }
        if (pattern.compare(i, 2, "%%") == 0) {
            *text += pattern[++i];
            continue;
        }
        constexpr std::size_t kMostDigits = 9;
        std::size_t width = 0;
        const char* const end = pattern.data() + pattern.size();
        const auto [stop, error] = std::from_chars(pattern.data() + i + 1, end, width);
        const bool isBare = error != std::errc();
        const char* const letter = isBare ? pattern.data() + i + 1 : stop;
        if (letter == end || *letter != 'd' || m_isNumbered || width > kMostDigits) {
            m_isFaulty = true;
            return;
        }
        m_isNumbered = true;
        m_width = isBare ? 0 : width;
        i = static_cast<std::size_t>(letter - pattern.data());
        text = &m_after;
    }
}

std::string CPageName::ForPage(int page) const {
    if (!m_isNumbered)
        return m_before;
    const std::string number = std::to_string(page);
    const std::size_t zeros = m_width > number.size() ? m_width - number.size() : 0;
    return m_before + std::string(zeros, '0') + number + m_after;
}

// ---- Pages
//
// Rows that come one after the other (medium "callback") go to the writer at once. On the medium
// "file" the driver writes a bitmap under a passing name, and the page is made of that when it is
// whole. A page's calls:
//
//     BeginPage, Rows ..., EndPage      writer: Begin, Write ..., EndPage or Finish
//     PageFile, EndPage                 writer: the same, all in EndPage

CPageFiles::~CPageFiles() {
    if (!m_passingFile.empty()) {
        std::error_code ignored;
        fs::remove(m_passingFile, ignored);
    }
}

// Keeps the first failure of the writer.
bool CPageFiles::Take(bool done) {
    if (!done && m_error.empty())
        m_error = ShownName(m_path) + ": " + m_writer->Error();
    return done;
}

// One writer a page for numbered files, one for all pages else.
bool CPageFiles::Open(int page) {
    if (m_writer && !m_name.IsNumbered())
        return true;
    m_path = m_name.ForPage(page);
    std::string error;
    m_writer = CreatePictureWriter(m_path, m_options, &error);
    if (!m_writer)
        m_error = ShownName(m_path) + ": " + error;
    else if (m_counter && page == 1)
        m_writer = std::make_unique<CCountingWriter>(std::move(m_writer), *m_counter);
    return m_writer != nullptr;
}

bool CPageFiles::BeginPage(const ScanPage& page) {
    if (!Open(page.number))
        return false;
    m_info = page.info;
    m_stride = page.stride;
    m_inPage = true;
    m_progress.Begin(page.number);
    if (!page.topDown) {
        m_error = m_path + ": the driver delivers the page's last line first";
        return false;
    }
    return Take(m_writer->Begin(page.info, page.palette));
}

bool CPageFiles::Rows(const BYTE* rows, LONG count) {
    const std::size_t bytes = m_stride * static_cast<std::size_t>(count);
    m_progress.Add(static_cast<std::int64_t>(bytes));
    return Take(m_writer->Write(rows, bytes));
}

bool CPageFiles::Progress(int page, int percent) {
    m_progress.Show(page, percent);
    return true;
}

// The driver's bitmap is a passing file beside the page's own: it is on the same disk, and a page
// of another kind is made of it. Beside standard output is the folder for temporary files.
std::string CPageFiles::PageFile(int page) {
    if (!Open(page))
        return {};
    m_progress.Begin(page);
    std::error_code ignored;
    const fs::path folder =
        IsStandardOutput() ? fs::temp_directory_path(ignored) : fs::path(m_path).parent_path();
    m_passingFile =
        (folder / (".nvqscan-" + std::to_string(std::random_device()()) + ".tmp")).string();
    return m_passingFile;
}

// On the file medium the page is read from the driver's bitmap now.
bool CPageFiles::EndPage(const ScanPage& page) {
    if (!page.file.empty()) {
        m_inPage = true;
        std::string error;
        const bool isRead = FeedBitmapFile(page.file, *m_writer, m_info, &error);
        std::error_code ignored;
        fs::remove(m_passingFile, ignored);
        m_passingFile.clear();
        if (!isRead) {
            m_error = page.file + ": " + error;
            return false;
        }
        if (!Take(m_writer->Error().empty()))
            return false;
    }
    const bool isDone = HoldsAllPages() ? Take(m_writer->EndPage()) : Take(m_writer->Finish());
    if (!isDone)
        return false;
    m_inPage = false;
    if (m_name.IsNumbered())
        m_writer.reset();
    else
        ++m_keptPages;
    TellPage(page.number);
    return true;
}

// "scan.png: page 1, gray, 1275 x 1755 pixels at 150 dpi".
void CPageFiles::TellPage(int page) {
    const char* kind = m_info.biBitCount == 24  ? "colour"
                       : m_info.biBitCount == 8 ? "gray"
                                                : "line art";
    m_progress.EndPage(ShownName(m_path) + ": page " + std::to_string(page) + ", " + kind + ", " +
                       std::to_string(m_info.biWidth) + " x " + std::to_string(m_info.biHeight) +
                       " pixels at " + std::to_string(DotsPerInch(m_info.biXPelsPerMeter)) +
                       " dpi");
}

// A page that broke off is dropped; a file without a whole page doesn't appear.
bool CPageFiles::Finish(bool isCancelled) {
    if (!m_writer || !HoldsAllPages() || !m_error.empty())
        return m_error.empty();
    if (isCancelled || m_keptPages == 0) {
        m_keptPages = 0;
        return true;
    }
    if (m_inPage && !Take(m_writer->DropPage()))
        return false;
    return Take(m_writer->Finish());
}
