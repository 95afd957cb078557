#include "sane-backend/scan_job.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sane-backend/debug.h"
#include "sane-backend/signals_blocked.h"
#include "sane-backend/status_map.h"

// ---- The program's thread

bool CScanJob::IsReady() const {
    return m_changed.IsThere() && m_ready.IsThere() && m_space.IsThere() && m_next.IsThere() &&
           m_cancel.IsThere();
}

bool CScanJob::StartThread() {
    const CSignalsBlocked blocked;
    try {
        m_thread = std::thread([this] { Run(); });
    } catch (const std::exception& failure) {
        Debug(EDebug::Failures, "there is no thread for the scan: ", failure.what());
    }
    return m_thread.joinable();
}

SANE_Status CScanJob::Start(CScanDevice device, const Order& order,
                            const std::atomic<bool>& isStopped) {
    static_cast<void>(End());
    m_device = std::move(device);
    m_order = order;
    m_isCancelled = false;
    m_cancel.Clear();
    m_next.Clear();
    {
        const std::lock_guard guard(m_lock);
        StartPage();
    }
    if (isStopped)
        Cancel();
    if (!StartThread()) {
        Enter(Phase::Idle);
        return SANE_STATUS_NO_MEM;
    }
    return AwaitPage();
}

void CScanJob::StartPage() {
    m_phase = Phase::Waiting;
    m_hasBegun = false;
    m_band.clear();
    m_taken = 0;
    m_isFinished = false;
    m_ready.Clear();
}

SANE_Status CScanJob::NextPage() {
    {
        const std::lock_guard guard(m_lock);
        m_hasPage = m_isInPage = false;
        if (m_phase == Phase::Over)
            return EndOfJob();
        StartPage();
    }
    m_next.Set();
    return AwaitPage();
}

// A job without a failure ends when there are no more pages.
SANE_Status CScanJob::EndOfJob() const {
    return m_result == SANE_STATUS_GOOD ? SANE_STATUS_NO_DOCS : m_result;
}

SANE_Status CScanJob::AwaitPage() {
    for (;;) {
        m_changed.Clear();
        {
            const std::lock_guard guard(m_lock);
            if (m_isCancelled)
                return SANE_STATUS_CANCELLED;
            // A small page may be over, and the job with it.
            if (std::exchange(m_hasBegun, false)) {
                m_hasPage = m_isInPage = true;
                return SANE_STATUS_GOOD;
            }
            if (m_phase == Phase::Over)
                return EndOfJob();
        }
        WaitForEither(m_changed, m_cancel);
    }
}

SANE_Parameters CScanJob::Parameters() {
    const std::lock_guard guard(m_lock);
    return m_parameters;
}

SANE_Status CScanJob::Read(SANE_Byte* bytes, std::size_t most, bool waits, std::size_t& read) {
    for (read = 0; !m_isCancelled; WaitForEither(m_ready, m_cancel)) {
        const std::lock_guard guard(m_lock);
        if (HasBytes()) {
            read = std::min(most, m_band.size() - m_taken);
            std::memcpy(bytes, m_band.data() + m_taken, read);
            m_taken += read;
            if (!HasBytes()) {
                if (!m_isFinished)
                    m_ready.Clear();
                m_space.Set();
            }
            return SANE_STATUS_GOOD;
        }
        if (m_isFinished) {
            m_isInPage = false;
            m_hasPage = m_pageStatus == SANE_STATUS_EOF;
            return m_pageStatus;
        }
        if (!waits)
            return SANE_STATUS_GOOD;
    }
    return SANE_STATUS_CANCELLED;
}

// Whoever waits for bytes hears of it too.
void CScanJob::Cancel() {
    m_isCancelled = true;
    m_cancel.Set();
    m_ready.Set();
}

CScanDevice CScanJob::End() {
    if (m_thread.joinable()) {
        Cancel();
        m_thread.join();
    }
    m_hasPage = m_isInPage = false;
    Enter(Phase::Idle);
    return std::move(m_device);
}

// ---- The scan's thread

void CScanJob::Enter(Phase phase) {
    const std::lock_guard guard(m_lock);
    m_phase = phase;
    m_changed.Set();
}

// The preview of the automatic exposure goes ahead of the first page.
ScanStatus CScanJob::Scan() {
    ScanStatus status;
    if (m_order.automatic.WantsTone() || m_order.automatic.WantsColor()) {
        std::optional<FoundExposure> found;
        status = FindExposure(m_device, m_order.automatic, &m_isCancelled, found);
        if (status.code == S_OK && found)
            status = ApplyExposure(m_device, *found, {});
    }
    if (status.code != S_OK)
        return status;
    return m_device.Scan(
        "", {.pages = m_order.pages, .cancel = &m_isCancelled, .refusesOthers = true}, *this);
}

// The driver holds the scanner between two pages and doesn't hear of a cancel then, nor that no
// more were wanted: closing the device ends its job, so that others get the scanner.
void CScanJob::Run() {
    SANE_Status status = SANE_STATUS_NO_MEM;
    try {
        status = Told(Scan());
    } catch (const std::exception&) {
        // There is no memory for the words.
    }
    if (m_order.endsFeederJob)
        m_device.Close();
    if (status == SANE_STATUS_CANCELLED && !m_isCancelled && m_hasNoForm)
        status = SANE_STATUS_UNSUPPORTED;
    const std::lock_guard guard(m_lock);
    FinishPage(status == SANE_STATUS_GOOD ? SANE_STATUS_IO_ERROR : status);
    m_result = status;
    m_phase = Phase::Over;
    m_changed.Set();
}

bool CScanJob::BeginPage(const ScanPage& page) {
    m_form = CSaneRows::For(page);
    m_hasNoForm = !m_form;
    if (m_hasNoForm) {
        Debug(EDebug::Failures, "the driver delivers a form of page that SANE doesn't have");
        return false;
    }
    const std::lock_guard guard(m_lock);
    m_parameters = m_form->Parameters();
    m_hasBegun = true;
    m_phase = Phase::Page;
    m_changed.Set();
    return !m_isCancelled;
}

bool CScanJob::Rows(const BYTE* rows, LONG count) {
    m_form->Convert(rows, count, m_rows);
    for (; !m_isCancelled; WaitForEither(m_space, m_cancel)) {
        m_space.Clear();
        const std::lock_guard guard(m_lock);
        if (HasBytes())
            continue;
        m_band.swap(m_rows);
        m_taken = 0;
        m_ready.Set();
        return true;
    }
    return false;
}

// A page that is finished already keeps the status that it had then.
void CScanJob::FinishPage(SANE_Status status) {
    if (!std::exchange(m_isFinished, true))
        m_pageStatus = status;
    m_ready.Set();
}

// Phase and page change together: the program may ask for the next page as soon as it sees the end
// of this one. The end of a page that broke off is the job's.
bool CScanJob::EndPage(const ScanPage& page) {
    if (FAILED(page.result))
        return true;
    {
        const std::lock_guard guard(m_lock);
        FinishPage(SANE_STATUS_EOF);
        m_phase = Phase::Between;
        m_changed.Set();
    }
    if (page.number == m_order.pages)
        return true;
    WaitForEither(m_next, m_cancel);
    m_next.Clear();
    return !m_isCancelled;
}
