#include "tools/page_files.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "tools/bitmap_feed.h"
#include "tools/console.h"
#include "tools/plot/counting_writer.h"
#include "tools/scaled_writer.h"

namespace fs = std::filesystem;

// Rows that come one after the other (medium "callback") go to the writer at once. On the medium
// "file" the driver writes a bitmap under a passing name, and the page is made of that when it is
// whole. A page's calls:
//
//     BeginPage, Rows ..., EndPage      writer: Begin, Write ..., EndPage or Finish
//     PageFile, EndPage                 writer: the same, all in EndPage

CPageFiles::CPageFiles(CPageName name, PageRules rules, CScanProgress& progress,
                       CToneCounter* counter)
    : m_name(std::move(name)),
      m_rules(std::move(rules)),
      m_progress(progress),
      m_counter(counter) {}

CPageFiles::~CPageFiles() {
    RemovePassingFile();
}

void CPageFiles::RemovePassingFile() {
    std::error_code ignored;
    if (!m_passingFile.empty())
        fs::remove(m_passingFile, ignored);
    m_passingFile.clear();
}

CWorkHold CPageFiles::Hold() const {
    return MayBeEnded() ? HoldWork() : CWorkHold();
}

// Keeps the first failure.
bool CPageFiles::Refuse(const std::string& why) {
    if (m_error.empty())
        m_error = ShownName(m_path) + ": " + why;
    return false;
}

bool CPageFiles::Take(bool done) {
    return done || Refuse(m_writer->Error());
}

// One writer a page for numbered files, one for all pages else. A file that has come since the
// names were proved isn't written over.
bool CPageFiles::Open() {
    if (m_writer && !m_name.IsNumbered())
        return true;
    m_path = m_name.ForPage(Number());
    std::error_code ignored;
    if (m_name.IsNumbered() && !m_rules.mayReplace && fs::exists(m_path, ignored))
        return Refuse("is there already");
    std::string error;
    m_writer = CreatePictureWriter(m_path, m_rules.picture, &error);
    if (!m_writer)
        return Refuse(error);
    if (m_counter && m_pages == 0)
        m_writer = std::make_unique<CCountingWriter>(std::move(m_writer), *m_counter);
    m_writer = std::make_unique<CScaledWriter>(std::move(m_writer), m_rules.scale);
    return true;
}

bool CPageFiles::BeginPicture(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) {
    m_info = m_rules.scale.HeaderOf(info);
    m_inPage = true;
    return Take(m_writer->Begin(info, palette));
}

bool CPageFiles::BeginPage(const ScanPage& page) {
    const CWorkHold hold = Hold();
    if (!Open())
        return false;
    m_stride = page.stride;
    m_progress.Begin(Number());
    if (!page.topDown)
        return Refuse("the driver delivers the page's last line first");
    return BeginPicture(page.info, page.palette);
}

bool CPageFiles::Rows(const BYTE* rows, LONG count) {
    const CWorkHold hold = Hold();
    const std::size_t bytes = m_stride * static_cast<std::size_t>(count);
    m_progress.Add(static_cast<std::int64_t>(bytes));
    return Take(m_writer->Write(rows, bytes));
}

bool CPageFiles::Progress(int, int percent) {
    const CWorkHold hold = Hold();
    m_progress.Show(Number(), percent);
    return true;
}

// The driver's bitmap is a passing file beside the page's own: it is on the same disk, and a page
// of another kind is made of it. Beside standard output is the folder for temporary files.
std::string CPageFiles::PageFile(int) {
    const CWorkHold hold = Hold();
    if (!Open())
        return {};
    m_progress.Begin(Number());
    std::error_code ignored;
    const fs::path folder = IsStandardOutput(m_path) ? fs::temp_directory_path(ignored)
                                                     : fs::path(m_path).parent_path();
    m_passingFile =
        (folder / (".nvqscan-" + std::to_string(std::random_device()()) + ".tmp")).string();
    return m_passingFile;
}

// On the file medium the page is read from the driver's bitmap now.
bool CPageFiles::ReadPageFile(const ScanPage& page) {
    std::string error;
    const BitmapTaker taker = {
        [this](const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) {
            return BeginPicture(info, palette);
        },
        [this](const BYTE* row, std::size_t bytes) {
            return !WasInterrupted() && Take(m_writer->Write(row, bytes));
        }};
    const bool isRead = FeedBitmapFile(page.file, FAILED(page.result), taker, &error);
    RemovePassingFile();
    if (!isRead)
        return Refuse("the driver's file " + error);
    return m_error.empty() && !WasInterrupted();
}

// Told without the hold: a line may wait for its reader for ever.
bool CPageFiles::EndPage(const ScanPage& page) {
    std::string line;
    {
        const CWorkHold hold = Hold();
        if (!TakePage(page))
            return false;
        line = m_rules.words(
            {ShownName(m_path), Number(), m_info, page.result, m_rules.scale.ReducedFrom()});
        ++m_pages;
    }
    m_progress.EndPage(line);
    return true;
}

// The page into its file.
bool CPageFiles::TakePage(const ScanPage& page) {
    m_brokenOff = StatusOf(page.result, "page " + std::to_string(Number()) + " broke off");
    // Nobody wants half a page in a letter, or one that was given up at the scanner.
    if (FAILED(page.result) && (!m_rules.isOnlyOne || page.result == kCancelledAtScanner))
        return false;
    if (!page.file.empty() && !ReadPageFile(page))
        return false;
    if (!Take(HoldsAllPages() ? m_writer->EndPage() : m_writer->Finish()))
        return false;
    m_inPage = false;
    if (m_name.IsNumbered())
        m_writer.reset();
    else
        ++m_keptPages;
    return true;
}

// A page that broke off is dropped; a file without a whole page doesn't appear. What failed in one
// page leaves those before it.
bool CPageFiles::Finish() {
    const CWorkHold hold = Hold();
    RemovePassingFile();
    if (!m_writer || !HoldsAllPages() || m_keptPages == 0)
        return m_error.empty();
    if (!(!m_inPage || Take(m_writer->DropPage())) || !Take(m_writer->Finish()))
        m_keptPages = 0;
    return m_error.empty();
}

void CPageFiles::TellKept() const {
    if (!m_brokenOff.Ok() && m_pages > 0 && m_rules.isOnlyOne)
        TellLine(ShownName(m_path) + ": the page is kept as far as it came");
    else if (m_keptPages > 0)
        TellLine(ShownName(m_path) + ": pages that are whole: " + std::to_string(m_keptPages));
}
