// The pages of a scan, on their way to files.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "pictures/picture_writer.h"
#include "service/scan_sink.h"
#include "tools/plot/tone_counts.h"
#include "tools/scan_progress.h"

// "page-%03d.png" stands for page-001.png and so on: one '%d', with a width if wanted; "%%" is a
// '%'. A name without is a single file.
class CPageName {
  public:
    explicit CPageName(std::string pattern);

    // One file a page.
    bool IsNumbered() const { return m_isNumbered; }
    // Has a '%' that means nothing: such a name can't be used at all.
    bool IsFaulty() const { return m_isFaulty; }
    std::string ForPage(int page) const;

  private:
    std::string m_before;
    std::string m_after;
    std::size_t m_width = 0;
    bool m_isNumbered = false;
    bool m_isFaulty = false;
};

// Writes each page as its rows come. A numbered page appears when it is whole; a file of several
// pages at the end of the job.
class CPageFiles final : public IScanSink {
  public:
    // `counter`, which may be null, counts the first page.
    CPageFiles(CPageName name, CPictureOptions options, CScanProgress& progress,
               CToneCounter* counter)
        : m_name(std::move(name)),
          m_options(std::move(options)),
          m_progress(progress),
          m_counter(counter) {}
    ~CPageFiles() override;

    bool BeginPage(const ScanPage& page) override;
    bool Rows(const BYTE* rows, LONG count) override;
    bool EndPage(const ScanPage& page) override;
    bool Progress(int page, int percent) override;
    std::string PageFile(int page) override;

    // The end of the job. Of a job that broke off, the whole pages stay; of one that was cancelled,
    // no file of several pages does.
    bool Finish(bool isCancelled);
    // What failed here: one line, with the file's name. Empty if nothing did.
    const std::string& Error() const { return m_error; }
    // What is told to people goes to standard error then.
    bool IsStandardOutput() const { return ::IsStandardOutput(m_name.ForPage(1)); }
    // Whole pages in the file of several pages.
    int PagesKept() const { return m_keptPages; }

  private:
    bool Open(int page);
    bool HoldsAllPages() const {
        return !m_name.IsNumbered() && HoldsSeveralPages(m_path, m_options);
    }
    bool Take(bool done);
    void TellPage(int page);

    const CPageName m_name;
    const CPictureOptions m_options;
    CScanProgress& m_progress;
    CToneCounter* const m_counter;
    std::string m_path;         // of the present file
    std::string m_passingFile;  // of the file medium
    std::unique_ptr<CPictureWriter> m_writer;
    BITMAPINFOHEADER m_info = {};
    std::size_t m_stride = 0;
    bool m_inPage = false;
    int m_keptPages = 0;
    std::string m_error;
};
