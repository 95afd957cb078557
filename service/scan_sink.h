// How a client gets the pages of a scan.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/types.h"

struct ScanPage {
    int number = 1;
    // As published, but biHeight is positive and `topDown` tells which row comes first.
    BITMAPINFOHEADER info = {};
    std::vector<RGBQUAD> palette;
    std::size_t stride = 0;  // bytes of a row, with the padding to 4 bytes
    bool topDown = true;
    std::string file;  // the file medium: where the page is
    // Of EndPage: why the scanner's data ended before the page did, in a result code as of
    // ScanStatus; S_OK for a page that is whole.
    HRESULT result = S_OK;
};

// All calls come on the thread that scans, while the device is busy: the device's other operations
// answer WIA_ERROR_BUSY to a sink that calls them. An answer of false cancels the scan; so does an
// exception, which goes no further. The order for a page is BeginPage, Rows as often as needed,
// EndPage; on the file medium there is PageFile at its start and EndPage, with the picture's header
// left empty. Progress may come at any time in between. A page that doesn't come to its end has no
// EndPage; one on whose way the scanner failed has, with ScanPage::result: its rows are there, the
// missing ones white (on the file medium they may be cut off), and no page follows.
class IScanSink {
  public:
    virtual ~IScanSink() = default;

    virtual bool BeginPage(const ScanPage& page) = 0;
    // Whole rows, in the page's order; in the end there were info.biHeight of them.
    virtual bool Rows(const BYTE* rows, LONG count) = 0;
    virtual bool EndPage(const ScanPage& page) = 0;
    // Never goes back within a page.
    virtual bool Progress(int page, int percent) {
        static_cast<void>(page);
        static_cast<void>(percent);
        return true;
    }
    // The path for a page on the file medium. The file appears there when the page is whole.
    virtual std::string PageFile(int page) {
        static_cast<void>(page);
        return {};
    }
};
