#include "service/page_reader.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "service/scan_settings.h"

// The sink on the scan's thread and the reader on the caller's, with one band between them. Each of
// the two waits for the other, and both go on when the scan is cancelled.
class CPageReader::Job final : public IScanSink {
  public:
    ~Job() override { static_cast<void>(End(nullptr)); }

    ScanStatus Start(CScanDevice device, const std::string& item, int pages);
    ScanStatus NextPage(std::optional<ScanPage>& page);
    ScanStatus Read(BYTE* bytes, std::size_t most, std::size_t& read);
    void Cancel();
    ScanStatus End(int* scanned);

    // Called by the scan
    // On the scan's thread
    bool BeginPage(const ScanPage& page) override;
    bool Rows(const BYTE* rows, LONG count) override;
    bool EndPage(const ScanPage& page) override;

  private:
    void Run(const std::string& item);
    // The band isn't read to its end.
    bool HasBytes() const { return m_taken < m_band.size(); }
    // Or until the scan is cancelled.
    template <class Condition>
    void WaitFor(std::unique_lock<std::mutex>& guard, Condition condition) {
        m_changed.wait(guard, [&] { return m_cancel || condition(); });
    }

    std::thread m_thread;
    CScanDevice m_device;  // the scan's thread's, while that runs
    int m_pages = 0;       // of the scan; 0: until the feeder is empty
    std::atomic<bool> m_cancel = false;

    std::mutex m_lock;  // for all below
    std::condition_variable m_changed;
    std::optional<ScanPage> m_header;  // of a page that has begun, until NextPage takes it
    std::size_t m_stride = 0;          // bytes of its rows
    std::vector<BYTE> m_band;
    std::size_t m_taken = 0;   // bytes of the band
    bool m_isWhole = false;    // the page has come to its end
    bool m_isSkipped = false;  // nobody wants the rest of the page
    bool m_isNextWanted = false;
    bool m_hasPage = false;  // the reader has taken a page's header
    bool m_isOver = true;
    ScanStatus m_result = {E_UNEXPECTED, "no scan has begun"};
    int m_scanned = 0;
};

// ---- The scan's thread

// The device's session is given back before the end is told: who waits for that end finds the
// device free.
void CPageReader::Job::Run(const std::string& item) {
    int scanned = 0;
    ScanStatus status = m_device.Scan(
        item, {.pages = m_pages, .cancel = &m_cancel, .refusesOthers = true}, *this, &scanned);
    m_device.Close();
    const std::lock_guard guard(m_lock);
    m_result = std::move(status);
    m_scanned = scanned;
    m_isOver = true;
    m_changed.notify_all();
}

// The reader has asked for it: behind the first page EndPage has waited for that.
bool CPageReader::Job::BeginPage(const ScanPage& page) {
    const std::lock_guard guard(m_lock);
    m_header = page;
    m_stride = page.stride;
    m_band.clear();
    m_taken = 0;
    m_isWhole = false;
    m_isSkipped = false;
    m_changed.notify_all();
    return !m_cancel;
}

// Waits until the last band has been read, so there is never more than one.
bool CPageReader::Job::Rows(const BYTE* rows, LONG count) {
    std::unique_lock guard(m_lock);
    WaitFor(guard, [this] { return !HasBytes() || m_isSkipped; });
    if (m_cancel || m_isSkipped)
        return !m_cancel;
    m_band.assign(rows, rows + static_cast<std::size_t>(count) * m_stride);
    m_taken = 0;
    m_changed.notify_all();
    return true;
}

// The page counts, also when the scan is cancelled before the next one. The end of one that broke
// off is the scan's.
bool CPageReader::Job::EndPage(const ScanPage& page) {
    std::unique_lock guard(m_lock);
    if (FAILED(page.result))
        return true;
    m_isWhole = true;
    m_changed.notify_all();
    if (page.number != m_pages) {
        WaitFor(guard, [this] { return m_isNextWanted; });
        m_isNextWanted = false;
    }
    return true;
}

// ---- The reader's thread

// The count of pages tells EndPage which page is the last: behind that one the scan must not wait
// for a reader who has no reason to ask for more.
ScanStatus CPageReader::Job::Start(CScanDevice device, const std::string& item, int pages) {
    static_cast<void>(End(nullptr));
    m_cancel = false;
    m_header.reset();
    m_isNextWanted = false;
    m_scanned = 0;
    CDeviceProperties properties;
    m_result = CDeviceProperties::Read(device, properties);
    if (!m_result.Ok())
        return m_result;
    m_device = std::move(device);
    m_pages = PagesOfScan(properties, pages);
    m_isOver = false;
    try {
        m_thread = std::thread([this, item] { Run(item); });
        return {};
    } catch (const std::exception& failure) {
        m_device.Close();
        m_isOver = true;
        m_result = {E_OUTOFMEMORY,
                    std::string("there is no thread for the scan: ") + failure.what()};
        return m_result;
    }
}

// To ask for a page behind one that was taken is to give up what is left of that.
ScanStatus CPageReader::Job::NextPage(std::optional<ScanPage>& page) {
    page.reset();
    std::unique_lock guard(m_lock);
    m_isSkipped = m_isNextWanted = std::exchange(m_hasPage, false);
    m_changed.notify_all();
    WaitFor(guard, [this] { return m_header || m_isOver; });
    if (m_cancel)
        return CancelledScan();
    if (!m_header)
        return m_result;
    page = std::exchange(m_header, std::nullopt);
    m_hasPage = true;
    return {};
}

// Bytes that are there go ahead of the page's end, and of the scan's.
ScanStatus CPageReader::Job::Read(BYTE* bytes, std::size_t most, std::size_t& read) {
    read = 0;
    if (!bytes || most == 0)
        return {E_INVALIDARG, "there is no room for the page's bytes"};
    std::unique_lock guard(m_lock);
    if (m_cancel)
        return CancelledScan();
    if (!m_hasPage)
        return {E_UNEXPECTED, "no page is being read"};
    WaitFor(guard, [this] { return HasBytes() || m_isWhole || m_isOver; });
    if (m_cancel)
        return CancelledScan();
    if (!HasBytes())
        return m_isWhole ? ScanStatus{} : m_result;
    read = std::min(most, m_band.size() - m_taken);
    std::memcpy(bytes, m_band.data() + m_taken, read);
    m_taken += read;
    if (!HasBytes())
        m_changed.notify_all();
    return {};
}

void CPageReader::Job::Cancel() {
    m_cancel = true;
    const std::lock_guard guard(m_lock);  // whoever is about to wait has seen it, or waits already
    m_changed.notify_all();
}

// A cancel is of no effect on a scan whose last page has come to its end: its driver is done.
ScanStatus CPageReader::Job::End(int* scanned) {
    if (m_thread.joinable()) {
        Cancel();
        m_thread.join();
    }
    m_hasPage = false;
    if (scanned)
        *scanned = m_scanned;
    return m_result;
}

// ---- CPageReader

CPageReader::CPageReader() : m_job(std::make_unique<Job>()) {}

CPageReader::~CPageReader() = default;

ScanStatus CPageReader::Start(const CScanDevice& device, const std::string& item, int pages) {
    CScanDevice shared;
    shared.m_session = device.m_session;
    return m_job->Start(std::move(shared), item, pages);
}

ScanStatus CPageReader::NextPage(std::optional<ScanPage>& page) {
    return m_job->NextPage(page);
}

ScanStatus CPageReader::Read(BYTE* bytes, std::size_t most, std::size_t& read) {
    return m_job->Read(bytes, most, read);
}

void CPageReader::Cancel() {
    m_job->Cancel();
}

ScanStatus CPageReader::End(int* scanned) {
    return m_job->End(scanned);
}
