// The pages of a scan, on their way to files.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "pictures/picture_writer.h"
#include "service/scan_sink.h"
#include "service/scan_status.h"
#include "tools/interrupt_watch.h"
#include "tools/page_name.h"
#include "tools/page_report.h"
#include "tools/page_scale.h"
#include "tools/plot/tone_counts.h"
#include "tools/scan_progress.h"

// What is known of a job's pages ahead of the first.
struct PageRules {
    CPictureOptions picture;
    int first = 1;            // number of the first page's file
    bool mayReplace = false;  // also files of a numbered series that are there
    bool isOnlyOne = false;   // one page is asked for
    CPageScale scale;
    std::function<std::string(const PageReport& report)> words = {};
};

// Writes each page as its rows come. A numbered page appears when it is whole; a file of several
// pages at the end of the job. A page that the scanner broke off is kept where it is the only one,
// so that what there is of it isn't lost, and left out of a job of several.
//
// Each call holds the work: between two calls any thread may end the job.
class CPageFiles final : public IScanSink {
  public:
    // `counter`, which may be null, counts the first page.
    CPageFiles(CPageName name, PageRules rules, CScanProgress& progress, CToneCounter* counter);
    ~CPageFiles() override;

    bool BeginPage(const ScanPage& page) override;
    bool Rows(const BYTE* rows, LONG count) override;
    bool EndPage(const ScanPage& page) override;
    bool Progress(int page, int percent) override;
    std::string PageFile(int page) override;

    // The end of the job, whichever it was: whole pages stay. False when something failed here.
    bool Finish();
    // What failed here: one line, with the file's name. Empty if nothing did.
    const std::string& Error() const { return m_error; }
    // Pages in files, over all scans of the job.
    int Pages() const { return m_pages; }
    // Of the next page, as its file has it.
    int Number() const { return m_rules.first + m_pages; }
    // The failure of the page that the scanner broke off; success if none was.
    const ScanStatus& BrokenOff() const { return m_brokenOff; }
    // Of a job that failed: what there is of it.
    void TellKept() const;

    // Nobody ends the job meanwhile. What goes to standard output can't be ended from outside: a
    // write may wait for its reader for ever, and the work isn't held then.
    CWorkHold Hold() const;
    bool MayBeEnded() const { return !IsStandardOutput(m_name.ForPage(1)); }

  private:
    bool Open();
    bool HoldsAllPages() const {
        return !m_name.IsNumbered() && HoldsSeveralPages(m_path, m_rules.picture);
    }
    bool Refuse(const std::string& why);
    bool Take(bool done);
    bool BeginPicture(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette);
    bool TakePage(const ScanPage& page);
    bool ReadPageFile(const ScanPage& page);
    void RemovePassingFile();

    const CPageName m_name;
    const PageRules m_rules;
    CScanProgress& m_progress;
    CToneCounter* const m_counter;
    std::string m_path;         // of the present file
    std::string m_passingFile;  // of the file medium
    std::unique_ptr<CPictureWriter> m_writer;
    BITMAPINFOHEADER m_info = {};
    std::size_t m_stride = 0;
    bool m_inPage = false;
    int m_pages = 0;
    int m_keptPages = 0;  // in the file of several pages
    ScanStatus m_brokenOff;
    std::string m_error;
};
