#include "tools/process/run.h"

#include <limits>
#include <memory>
#include <utility>

#include "pictures/picture_reader.h"
#include "pictures/picture_writer.h"
#include "tools/page_name.h"
#include "tools/plot/counting_writer.h"
#include "tools/process/input.h"
#include "tools/process/page_run.h"

namespace {

// Which pages of the input are wanted.
struct CPageRange {
    int m_first = 1;
    int m_last = 1;

    int Count() const { return m_last - m_first + 1; }
};

std::string CountText(int pages) {
    return pages == 1 ? "1 page" : std::to_string(pages) + " pages";
}

// What the results of a job go to: a file a page, or one for all.
class CResultFiles {
  public:
    // `counter` may be null; the first page is counted.
    CResultFiles(const CProcessJob& job, CToneCounter* counter)
        : m_job(job), m_name(job.m_output), m_counter(counter) {}

    bool HoldPages() const {
        return m_name.IsNumbered() || HoldsSeveralPages(m_job.m_output, m_job.m_picture);
    }
    // Null with one line in `error`.
    CPictureWriter* WriterFor(int page, std::string* error) {
        if (m_writer && !m_name.IsNumbered())
            return m_writer.get();
        m_path = m_name.ForPage(page);
        m_writer = CreatePictureWriter(m_path, m_job.m_picture, error);
        if (!m_writer)
            *error = ShownName(m_path) + ": " + *error;
        else if (m_counter)
            m_writer = std::make_unique<CCountingWriter>(std::move(m_writer),
                                                         *std::exchange(m_counter, nullptr));
        return m_writer.get();
    }
    // Behind each page; what isn't whole before `isLast` waits.
    bool Finish(bool isLast, std::string* error) {
        if ((!m_name.IsNumbered() && !isLast) || m_writer->Finish())
            return true;
        *error = ShownName(m_path) + ": " + m_writer->Error();
        return false;
    }
    const std::string& Path() const { return m_path; }

  private:
    const CProcessJob& m_job;
    const CPageName m_name;
    CToneCounter* m_counter;
    std::string m_path;
    std::unique_ptr<CPictureWriter> m_writer;
};

bool FindPages(const CProcessJob& job, const std::string& path, bool canHoldPages,
               CPageRange* range, std::string* error) {
    const bool isOne = job.m_page > 0;
    const int most = isOne ? job.m_page : std::numeric_limits<int>::max();
    const int count = CountPages(path, most, error);
    if (count == 0)
        return false;
    if (isOne && job.m_page > count) {
        *error = "has " + CountText(count) + "; there is no --page " + std::to_string(job.m_page);
        return false;
    }
    *range = isOne ? CPageRange{job.m_page, job.m_page} : CPageRange{1, count};
    if (range->Count() == 1 || canHoldPages)
        return true;
    *error = "has " + CountText(count) + ", and " + ShownName(job.m_output) +
             " holds one; name a file with %d for the page, a .tif or .pdf file, or one page by "
             "--page";
    return false;
}

// As one page of several shows how far the job is, and tells its notices.
CProcessJob JobOfPage(const CProcessJob& job, const CPageRange& range, int page) {
    CProcessJob one = job;
    if (range.Count() == 1)
        return one;
    const auto done = static_cast<unsigned>(page - range.m_first);
    const auto count = static_cast<unsigned>(range.Count());
    if (job.m_progress)
        one.m_progress = [&job, done, count](unsigned percent) {
            job.m_progress((done * 100 + percent) / count);
        };
    if (job.m_notice)
        one.m_notice = [&job, page](const std::string& line) {
            job.m_notice("page " + std::to_string(page) + ": " + line);
        };
    return one;
}

CProcessResult RunPages(const CProcessJob& job, const CProcessInput& input, CPageRange range,
                        CResultFiles& files, const CToneCounter* delivered, std::string* error,
                        std::string* plotError) {
    for (int page = range.m_first; page <= range.m_last; ++page) {
        CPictureWriter* const writer = files.WriterFor(page, error);
        if (!writer)
            return CProcessResult::BadInput;
        const CProcessJob one = JobOfPage(job, range, page);
        const std::string name =
            range.Count() == 1 ? input.Name() : input.Name() + ": page " + std::to_string(page);
        const CPageRun run = {one,
                              {input.Path(), page, name},
                              ShownName(files.Path()),
                              *writer,
                              page == range.m_first ? delivered : nullptr};
        if (const CProcessResult result = RunPage(run, error, plotError);
            result != CProcessResult::Done)
            return result;
        if (!files.Finish(page == range.m_last, error))
            return CProcessResult::Failed;
    }
    return CProcessResult::Done;
}

}  // namespace

CProcessResult RunProcess(const CProcessJob& job, std::string* error) {
    if (!job.m_plots.Check(error))
        return CProcessResult::BadInput;
    const bool isPlotted = !job.m_plots.m_histogram.empty() || !job.m_plots.m_curves.empty();
    CToneCounter delivered;
    CResultFiles files(job, job.m_plots.m_histogram.empty() ? nullptr : &delivered);
    CProcessInput input(job.m_input);
    CPageRange range;
    const bool isTaken = input.Take(job.m_cancelled, error);
    if (job.m_cancelled && job.m_cancelled())
        return CProcessResult::Cancelled;
    if (!isTaken || !FindPages(job, input.Path(), files.HoldPages(), &range, error)) {
        *error = input.Name() + ": " + *error;
        return CProcessResult::BadInput;
    }
    std::string plotError;
    const CProcessResult result =
        RunPages(job, input, range, files, isPlotted ? &delivered : nullptr, error, &plotError);
    if (result != CProcessResult::Done || plotError.empty())
        return result;
    *error = plotError;
    return CProcessResult::Failed;
}
