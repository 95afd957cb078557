// One page, from its item's settings to the last delivered byte.
//
//   ReadRequest   what is asked for; the scanner isn't touched
//   Measure       behind the scan preparation, which has told what the device will give
//   Run           starts the scan; the band loop reads 20 lines at a time, makes rows of them
//                 (band_lines.h), writes them to the stream and pumps the engine
//   TakeImage     what the engine makes of them; called by way of the image callback, inside Run
//
// A page touches what it is made with: the controller, the engine, the stream between them,
// the transfer context (page_delivery.h), the log. Properties are read, never written. All else is
// its own and goes with it, files included; a scan that was started has ended when Run returns.
#pragma once

#include "diag/debug_dump.h"
#include "engine/input_tap.h"
#include "frontend/band_lines.h"
#include "frontend/page_delivery.h"
#include "platform/com_ptr.h"

class CImageStream;
class CNVScan;
class CQLEngine;
struct GeomControl;

class CPageTransfer {
  public:
    // All borrowed.
    CPageTransfer(CNVScan& scan, CQLEngine& engine, CImageStream& stream, CLog& log,
                  MINIDRV_TRANSFER_CONTEXT& context);
    CPageTransfer(const CPageTransfer&) = delete;
    CPageTransfer& operator=(const CPageTransfer&) = delete;

    // E_INVALIDARG for an image of nothing, or a callback without a buffer; kFileTooLarge.
    HRESULT ReadRequest(BYTE* item);
    // E_FAIL for a device that scans at no resolution. `channel` is what the preparation has
    // settled.
    HRESULT Measure(DWORD channel, const GeomControl& geometry, DWORD scanPixelWidth,
                    DWORD scanLines);
    // S_FALSE for a page that the client cancelled. `lastSheet` is told when the page came to its
    // end, cancelled or not: the feeder has no more.
    HRESULT Run(bool& lastSheet);
    // What the first read answered that failed. The page is delivered all the same: what is missing
    // is white, or cut off. The end of the media is no failure.
    HRESULT ReadResult() const { return m_readResult; }

    // For IQLImageCallback.
    HRESULT TakeImage(DWORD type, DWORD percent, LONG length, BYTE* buffer) {
        return m_delivery.Take(type, percent, length, buffer);
    }

  private:
    HRESULT Transfer(bool& lastSheet);
    HRESULT RunBandLoop();
    bool KeepsHeight() const;
    DWORD ReadBand();
    // E_FAIL when the engine hasn't begun the image by then.
    HRESULT FeedRows(const BandRows& rows);
    HRESULT BeginBitmap();
    // Headers of the bitmap and its palette, into the stream.
    HRESULT SetupBitmapHeaders(const BITMAPINFOHEADER& header);
    void WriteStream(const void* bytes, DWORD count);

    CNVScan& m_scan;
    CQLEngine& m_engine;
    CImageStream& m_stream;
    CLog& m_log;
    CPageDelivery m_delivery;
    const DebugImageSettings m_debug;
    CRawFile m_raw;
    ComPtr<IQLInputTap> m_tap;  // the client's, if it has one

    LONG m_xRes = 0;  // dots per inch
    LONG m_yRes = 0;
    LONG m_bmpWidth = 0;  // pixels
    LONG m_numberOfLines = 0;

    BandSizes m_sizes;
    CBandLines m_lines;
    bool m_turned = false;  // the engine has the page as a whole before it delivers
    DWORD m_scanLines = 0;  // that the device promised
    DWORD m_linesRead = 0;
    DWORD m_bandLines = kBandLines;  // of the next read
    DWORD m_realLines = 0;           // of the last one, by the device
    bool m_fillWhite = false;        // the media ended, and the page keeps its height
    bool m_stopAfterBand = false;    // the media ended, and the page ends with it
    HRESULT m_readResult = S_OK;
    bool m_scanOpen = false;  // the start was tried, and the scan has not been ended
};
