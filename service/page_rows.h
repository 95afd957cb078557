// From the bytes of a device-independent bitmap to whole rows.
#pragma once

#include <span>

#include "service/scan_sink.h"

// What a driver delivers on the callback medium: header and palette in the first run of bytes, rows
// in the further ones, which may end within a row. Every number in the header is checked.
class CPageRows {
  public:
    enum class Result { GoOn, Stop, Nonsense };

    CPageRows(IScanSink& sink, int number) : m_sink(sink) { m_page.number = number; }

    Result Take(std::span<const BYTE> bytes);
    // The driver has delivered all. Missing padding of the last rows is made up; a page without a
    // header, or with rows missing, is nonsense. `result` goes with the page.
    Result Finish(HRESULT result);

    const ScanPage& Page() const { return m_page; }

  private:
    Result TakeHeader(std::span<const BYTE> bytes);
    Result TakeRows(std::span<const BYTE> bytes);
    Result Deliver(const BYTE* rows, std::size_t count);

    IScanSink& m_sink;
    ScanPage m_page;
    bool m_begun = false;
    LONG m_delivered = 0;
    ULONGLONG m_received = 0;     // bytes of rows
    std::vector<BYTE> m_partRow;  // shorter than a row
};
