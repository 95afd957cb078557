// A scan under way: pages come on a thread of its own, from which the program takes their bytes.
//
//     phase      is over when
//     Idle       Start begins a job
//     Waiting    the page's header is there: Page; or there is none: Over
//     Page       the page has come to its end: Between, or Over behind the last one
//     Between    the program asks for the next page: Waiting
//     Over       End has taken the device back: Idle
//
// The thread is ahead of the program by one band at most, and feeds a sheet only when its page is
// asked for. A cancel makes all waits end; the job is over when the driver has seen it. All waiting
// is for descriptors, since a cancel may come from a signal's handler.
#pragma once

#include <sane/sane.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "sane-backend/sane_rows.h"
#include "sane-backend/wakeup.h"
#include "service/exposure.h"
#include "service/scan_client.h"

class CScanJob final : public IScanSink {
  public:
    // What the job is to do beside the device's own properties.
    struct Order {
        int pages = 1;               // 0: all that are in the feeder
        bool endsFeederJob = false;  // at its end, whatever is left of it
        AutoWish automatic;
    };

    ~CScanJob() override { static_cast<void>(End()); }

    // False when descriptors ran out.
    bool IsReady() const;

    // ---- The program's thread

    // It has the device, and End gives that back.
    bool IsUnderWay() const { return m_thread.joinable() || m_device.IsOpen(); }
    // A page has begun, and its last byte or failure hasn't been read.
    bool IsInPage() const { return m_isInPage; }
    // A page has begun and not failed, and no other one has been asked for.
    bool HasPage() const { return m_hasPage; }
    bool IsCancelled() const { return m_isCancelled; }

    // Begins a job and waits for its first page, or goes on and waits for the next one. NO_DOCS
    // behind the last one. `isStopped` is a cancel that came ahead of the job.
    SANE_Status Start(CScanDevice device, const Order& order, const std::atomic<bool>& isStopped);
    SANE_Status NextPage();
    // Of the page that came last.
    SANE_Parameters Parameters();
    // GOOD without bytes only when it isn't to wait.
    SANE_Status Read(SANE_Byte* bytes, std::size_t most, bool waits, std::size_t& read);
    // Readable when there are bytes or the page's end.
    int SelectFd() const { return m_ready.Fd(); }
    // Ends the job, cancelling what is left of it; waits for the driver. The device as the job left
    // it: closed if that was to end the feeder's.
    CScanDevice End();

    // For signal handlers too.
    void Cancel();

    // ---- The scan's thread

    bool BeginPage(const ScanPage& page) override;
    bool Rows(const BYTE* rows, LONG count) override;
    bool EndPage(const ScanPage& page) override;

  private:
    enum class Phase { Idle, Waiting, Page, Between, Over };

    SANE_Status AwaitPage();
    bool StartThread();
    void Run();
    ScanStatus Scan();
    // All under the lock.
    bool HasBytes() const { return m_taken < m_band.size(); }
    void StartPage();
    void FinishPage(SANE_Status status);
    SANE_Status EndOfJob() const;
    void Enter(Phase phase);

    std::thread m_thread;
    CScanDevice m_device;  // the thread's, while that runs
    Order m_order;
    std::vector<SANE_Byte> m_rows;  // the band that goes next
    std::optional<CSaneRows> m_form;
    bool m_hasNoForm = false;  // SANE has none for the page

    CWakeup m_changed;  // the phase, for the program
    CWakeup m_ready;    // bytes, or the page's end
    CWakeup m_space;    // the band has been read
    CWakeup m_next;     // the next page is wanted
    CWakeup m_cancel;
    std::atomic<bool> m_isCancelled = false;
    bool m_hasPage = false;
    bool m_isInPage = false;

    std::mutex m_lock;  // for all below
    Phase m_phase = Phase::Idle;
    bool m_hasBegun = false;  // a page, of which the program hasn't heard
    SANE_Parameters m_parameters = {};
    std::vector<SANE_Byte> m_band;
    std::size_t m_taken = 0;                     // bytes of the band
    bool m_isFinished = false;                   // there is nothing behind the band
    SANE_Status m_pageStatus = SANE_STATUS_EOF;  // what stands behind the page's last byte
    SANE_Status m_result = SANE_STATUS_GOOD;     // of the job that is over
};
