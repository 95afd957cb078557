// Plots of the tones of a scan.
#pragma once

#include "service/exposure.h"
#include "tools/plot/tone_counts.h"
#include "tools/process/tone_files.h"

// Counts the first page as the device delivered it.
class CInputCounter final : public IScanSink {
  public:
    bool BeginPage(const ScanPage& page) override;
    bool Rows(const BYTE* rows, LONG count) override;
    bool EndPage(const ScanPage&) override { return true; }

    const CToneCounts& Counts() const { return m_counter.Counts(); }
    int Bits() const { return m_bits; }

  private:
    CToneCounter m_counter;
    std::size_t m_stride = 0;
    int m_bits = 24;
    bool m_isFirst = true;
};

// The plots of a scan with the properties that the device has. The curves are measured on an engine
// of the same settings as the driver's. False with one line in `error`.
bool DrawScan(const CToneFiles& plots, const CScanDevice& device, const CInputCounter& input,
              const CToneCounts& result, std::string* error);
