#include "sane-backend/scanner_handle.h"

#include "sane-backend/status_map.h"

SANE_Status CScannerHandle::Open() {
    if (!m_job.IsReady())
        return SANE_STATUS_NO_MEM;
    if (const ScanStatus status = m_settings.Open(); !status.Ok())
        return Told(status);
    m_options = std::make_unique<COptions>(m_settings, m_sensors);
    return SANE_STATUS_GOOD;
}

void CScannerHandle::EndJob() {
    if (!m_job.IsUnderWay())
        return;
    m_settings.TakeDevice(m_job.End());
    m_options->Renew();
}

// Options can be asked for at any time. A change between two pages of the feeder ends its job; the
// next start begins another one with the sheets that are left. What is refused, or is so already,
// changes nothing.
SANE_Status CScannerHandle::Control(SANE_Int option, SANE_Action action, void* value,
                                    SANE_Int* info) {
    m_isStopped = false;
    SANE_Int unwanted = 0;
    SANE_Int& told = info ? *info : unwanted;
    told = 0;
    SANE_Status status = SANE_STATUS_INVAL;
    if (action == SANE_ACTION_GET_VALUE) {
        status = m_options->Get(option, value);
    } else if (action == SANE_ACTION_SET_VALUE) {
        if (m_job.IsInPage() && !m_job.IsCancelled())
            return SANE_STATUS_DEVICE_BUSY;
        bool isNews = false;
        status = m_options->Check(option, value, isNews);
        if (status == SANE_STATUS_GOOD && !isNews && m_job.IsUnderWay() && !m_job.IsCancelled())
            return m_options->Keep(option, value, told);
        if (status == SANE_STATUS_GOOD) {
            EndJob();
            status = m_options->Set(option, value, told);
        }
    }
    return status;
}

SANE_Parameters CScannerHandle::Parameters() {
    return IsScanning() ? m_job.Parameters() : m_options->Parameters();
}

SANE_Status CScannerHandle::Begin() {
    EndJob();
    if (const ScanStatus status = m_settings.Open(); !status.Ok())
        return Told(status);
    if (!m_settings.HasWindow())
        return SANE_STATUS_INVAL;
    // A sheet of which there was a preview waits for its scan.
    const bool isPreview = m_settings.Value(WIA_DPS_PREVIEW) != 0;
    CScanJob::Order order;
    order.endsFeederJob = m_settings.UsesFeeder() && !isPreview;
    order.pages = order.endsFeederJob ? m_settings.Pages() : 1;
    order.automatic = m_settings.Automatic();
    return m_job.Start(m_settings.GiveDevice(), order, m_isStopped);
}

// A job of the feeder goes on as long as it isn't cancelled and has pages. Its end ends it, so that
// the start behind that looks into the feeder anew.
SANE_Status CScannerHandle::Start() {
    m_isStopped = false;
    if (m_job.IsInPage() && !m_job.IsCancelled())
        return SANE_STATUS_DEVICE_BUSY;
    const bool goesOn = m_job.HasPage() && m_settings.UsesFeeder() && !m_job.IsCancelled();
    const SANE_Status status = goesOn ? m_job.NextPage() : Begin();
    // The end of one that was cancelled may take its time.
    if (status != SANE_STATUS_GOOD && !m_job.IsCancelled())
        EndJob();
    return status;
}

SANE_Status CScannerHandle::Read(SANE_Byte* bytes, SANE_Int most, SANE_Int& read) {
    read = 0;
    if (m_job.IsUnderWay() && m_job.IsCancelled())
        return SANE_STATUS_CANCELLED;
    if (!m_job.HasPage() || most < 0)
        return SANE_STATUS_INVAL;
    if (most == 0)
        return SANE_STATUS_GOOD;
    std::size_t got = 0;
    const SANE_Status status =
        m_job.Read(bytes, static_cast<std::size_t>(most), !m_isNonBlocking, got);
    read = static_cast<SANE_Int>(got);
    return status;
}

SANE_Status CScannerHandle::SetIoMode(bool isNonBlocking) {
    if (!IsScanning())
        return SANE_STATUS_INVAL;
    m_isNonBlocking = isNonBlocking;
    return SANE_STATUS_GOOD;
}

SANE_Status CScannerHandle::SelectFd(SANE_Int& fd) const {
    if (!IsScanning())
        return SANE_STATUS_INVAL;
    fd = m_job.SelectFd();
    return SANE_STATUS_GOOD;
}
