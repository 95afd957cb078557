// A scanner that a program has opened: its settings, its options, and its scan.
#pragma once

#include <memory>

#include "sane-backend/options.h"
#include "sane-backend/scan_job.h"

// One thread at a time; Cancel is for signal handlers too.
class CScannerHandle {
  public:
    explicit CScannerHandle(const std::string& number)
        : m_settings(number, &m_isStopped), m_sensors(number) {}

    SANE_Status Open();

    const SANE_Option_Descriptor* Describe(SANE_Int option) const {
        return m_options->Describe(option);
    }
    SANE_Status Control(SANE_Int option, SANE_Action action, void* value, SANE_Int* info);
    SANE_Parameters Parameters();
    SANE_Status Start();
    SANE_Status Read(SANE_Byte* bytes, SANE_Int most, SANE_Int& read);
    void Cancel() {
        m_isStopped = true;
        m_job.Cancel();
    }
    SANE_Status SetIoMode(bool isNonBlocking);
    SANE_Status SelectFd(SANE_Int& fd) const;

  private:
    bool IsScanning() const { return m_job.HasPage() && !m_job.IsCancelled(); }
    void EndJob();
    SANE_Status Begin();

    std::atomic<bool> m_isStopped = false;  // an operation under way is not to wait any more
    CScannerSettings m_settings;
    CSensors m_sensors;
    std::unique_ptr<COptions> m_options;
    bool m_isNonBlocking = false;
    CScanJob m_job;  // ends first
};
