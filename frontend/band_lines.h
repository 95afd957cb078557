// The lines of a band on their way from the scanner to rows of a bitmap: blue first, at the stride
// of rows, and scaled where the device can't scan at the resolution that is asked for. This is all
// of a page's arithmetic; it knows neither scanner nor engine.
#pragma once

#include "frontend/task_memory.h"
#include "platform/types.h"

// Lines of the device that are read, scaled and pumped through the engine at a time.
inline constexpr DWORD kBandLines = 20;

struct BandSizes {
    DWORD depth = 24;         // bits a pixel, 8 or 24, of lines and rows
    DWORD scanWidth = 0;      // pixels that the device delivers
    DWORD bmpWidth = 0;       // pixels of a row
    DWORD numberOfLines = 0;  // rows of the whole page
    // Dots per inch that are asked for, and those at which the device scans; none is 0.
    DWORD xRes = 0;
    DWORD yRes = 0;
    DWORD scanXRes = 0;
    DWORD scanYRes = 0;
};

// Rows that a band has made; they stay until it is filled again.
struct BandRows {
    const BYTE* bytes;
    DWORD count;
};

class CBandLines {
  public:
    // E_FAIL for lines of nothing, E_OUTOFMEMORY.
    HRESULT Allocate(const BandSizes& sizes);

    // Room for kBandLines lines of LineBytes, side by side as the device delivers them.
    BYTE* Buffer() { return m_band.get(); }
    DWORD LineBytes() const { return m_scanBytes; }
    DWORD Stride() const { return m_bmpStride; }  // from row to row, in bytes
    bool IsScaling() const;

    // Makes rows of the first `lines` lines of the buffer, which it changes. With scaling there may
    // be none: the part of a line that a band leaves counts for the next one.
    BandRows MakeRows(DWORD lines);
    // Of all bands.
    DWORD RowsMade() const { return m_linesDelivered; }

  private:
    void ArrangeLines(DWORD lines);
    DWORD ScaledLines(DWORD lines);

    BandSizes m_sizes;
    DWORD m_scanBytes = 0;   // of a line as it is delivered
    DWORD m_bmpBytes = 0;    // of a row's pixels
    DWORD m_bmpStride = 0;   // from row to row
    DWORD m_lineStride = 0;  // from line to line in the band, when they are arranged
    TaskArray<BYTE> m_band;
    TaskArray<BYTE> m_scaled;  // with scaling
    DWORD m_linesDelivered = 0;
    double m_scaleRemainder = 0.0;  // of a row, 0 to 1
};
