// The band loop: lines from the controller become rows of a bitmap in the image stream.
#include <algorithm>
#include <cstring>
#include <limits>

#include "frame/fixed_point.h"
#include "frontend/mini_driver.h"
#include "frontend/scan_lines.h"
#include "frontend/transfer_state.h"
#include "platform/files.h"

namespace {

constexpr WORD kFirstRead = 2;  // phases of readScanData
constexpr WORD kNextRead = 0;
constexpr BYTE kWhite = 0xFF;
constexpr double kInchesPerMeter = 39.37;

}  // namespace

// From the started scan to the end of the page. Whatever happens, no file of the page stays open.
HRESULT CNVwiaMiniDrv::TransferPage(MINIDRV_TRANSFER_CONTEXT* pmdtc, TransferState& page) {
    HRESULT hr = AllocateBands(page);
    if (SUCCEEDED(hr))
        hr = RunBandLoop(page);
    if (SUCCEEDED(hr)) {
        if (!m_bCancelled)
            m_pEngine->FireFeed();
        m_pEngine->FireEnd();
        m_pEngine->Stop();
        m_bFeederEmpty = m_pScan->endScan() == S_FALSE;
        page.scanOpen = false;
        page.band.reset();
        page.scaled.reset();
        if (m_hTempFile && !m_bCancelled)
            hr = DeliverFile(pmdtc, page);
    }
    CloseTempFile(page);
    CloseRawFile();
    return SUCCEEDED(hr) && m_bCancelled ? S_FALSE : hr;
}

// The band holds lines as they come, and as they lie side by side with bitmap rows.
HRESULT CNVwiaMiniDrv::AllocateBands(TransferState& page) {
    if (page.scanBytes == 0)
        return E_FAIL;
    page.band = AllocateTaskArray<BYTE>(std::uint64_t{kBandLines} *
                                        std::max(page.bmpStride, page.scanStride));
    if (!page.band)
        return E_OUTOFMEMORY;
    if (!page.scaling)
        return S_OK;
    // What a band gives, a line that the remainders of bands before add up to, and one to spare.
    const std::uint64_t lines = std::uint64_t{kBandLines} * static_cast<DWORD>(page.yRes) /
                                    static_cast<DWORD>(page.geometry.scanYRes) +
                                2;
    const std::uint64_t bytes = lines * page.bmpStride;
    if (bytes <= static_cast<std::uint64_t>(std::numeric_limits<LONG>::max()))
        page.scaled = AllocateTaskArray<BYTE>(bytes);
    if (!page.scaled)
        return E_OUTOFMEMORY;
    // The ends of rows stay as they are now.
    WhitenLineEnds(page.scaled.get(), static_cast<DWORD>(lines), page.bmpStride, page.bmpBytes);
    return S_OK;
}

HRESULT CNVwiaMiniDrv::RunBandLoop(TransferState& page) {
    bool begun = false;
    while (page.linesRead < page.scanLines && !m_bCancelled && !page.stopAfterBand) {
        const DWORD lines = ReadBand(page);
        ArrangeLines(page, lines);
        const DWORD scaledLines = page.scaling ? ScaleLines(page, lines) : 0;
        if (!begun) {
            const HRESULT hr = BeginBitmap(page);
            if (FAILED(hr))
                return hr;
            begun = true;
        }
        if (!page.scaling) {
            DeliverLines(page.band.get(), lines, page.bmpStride);
        } else if (scaledLines > 0) {
            DeliverLines(page.scaled.get(), scaledLines, page.bmpStride);
            page.linesDelivered += scaledLines;
        }
        m_pEngine->FireFeed();
        page.linesRead += lines;
    }
    return S_OK;
}

// Lines of the next band, as the device gives them; white ones behind the end of the media when the
// client was promised a whole page. What was begun of a line is dropped.
DWORD CNVwiaMiniDrv::ReadBand(TransferState& page) {
    page.bandLines = std::min(page.bandLines, page.scanLines - page.linesRead);
    const DWORD wanted = page.bandLines * page.scanBytes;
    DWORD got = 0;
    if (!page.fillWhite) {
        got = wanted;
        const WORD phase = page.linesRead == 0 ? kFirstRead : kNextRead;
        const HRESULT hr =
            m_pScan->readScanData(phase, page.band.get(), wanted, &got, page.scanBytes);
        if (FAILED(hr))
            m_pLog->Format(kLogInformation, "readScanData failed hr %d: line %d, %d of %d bytes",
                           hr, page.linesRead, got, wanted);
        got = std::min(got, wanted);
        page.fillWhite = got != wanted && page.callbackMedium;
        page.stopAfterBand = got != wanted && !page.callbackMedium;
    }
    const DWORD lines = got / page.scanBytes;
    if (!page.fillWhite)
        return lines;
    const std::size_t lineBytes = page.scanBytes;
    std::memset(page.band.get() + lines * lineBytes, kWhite, (page.bandLines - lines) * lineBytes);
    return page.bandLines;
}

// Blue first, and lines at the band's stride. Without scaling they are bitmap rows then, cut or
// white behind the scan.
void CNVwiaMiniDrv::ArrangeLines(TransferState& page, DWORD lines) {
    BYTE* band = page.band.get();
    const DWORD bytes = lines * page.scanBytes;
    if (page.depth == 24)
        SwapRedBlue(band, bytes);
    if (page.lineStride < page.scanBytes)
        CutScanLines(band, lines, page.lineStride, page.scanBytes);
    else
        PadScanLines(band, static_cast<LONG>(bytes), static_cast<LONG>(page.lineStride),
                     static_cast<LONG>(page.scanBytes));
    if (!page.scaling)
        WhitenLineEnds(band, lines, page.lineStride, std::min(page.scanBytes, page.bmpBytes));
}

// Returns the lines that the band gives. The part of a line that is left over counts for the next.
DWORD CNVwiaMiniDrv::ScaleLines(TransferState& page, DWORD lines) {
    const auto to = static_cast<DWORD>(page.yRes);
    const auto from = static_cast<DWORD>(page.geometry.scanYRes);
    const double exact = static_cast<double>(lines) * to / from;
    auto scaledLines = static_cast<DWORD>(std::uint64_t{lines} * to / from);
    page.scaleRemainder += exact - scaledLines;
    if (page.scaleRemainder > 1.0) {
        ++scaledLines;
        page.scaleRemainder -= 1.0;
    }
    // No band delivers beyond the page.
    scaledLines =
        std::min(scaledLines, static_cast<DWORD>(page.numberOfLines) - page.linesDelivered);
    if (scaledLines > 0)
        BilinearInterp(page.band.get(), page.scaled.get(), page.scanPixelWidth,
                       static_cast<DWORD>(page.bmpWidth), lines, scaledLines, page.depth);
    return scaledLines;
}

// The stream into the engine has the top line first.
HRESULT CNVwiaMiniDrv::BeginBitmap(TransferState& page) {
    if (!page.callbackMedium)
        OpenTempFile(page);
    if (page.debug.enabled)
        OpenRawFile(page.debug.rawFile.c_str());
    BITMAPINFOHEADER& header = page.header;
    header.biSize = sizeof(header);
    header.biWidth = page.bmpWidth;
    header.biHeight = -page.numberOfLines;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(page.depth);
    // Wraps for 4 GiB and more, where the field has no value to give.
    header.biSizeImage = page.bmpStride * static_cast<DWORD>(page.numberOfLines);
    header.biXPelsPerMeter = RoundToI32(page.xRes * kInchesPerMeter);
    header.biYPelsPerMeter = RoundToI32(page.yRes * kInchesPerMeter);
    return SetupBitmapHeaders(&header);
}

void CNVwiaMiniDrv::DeliverLines(const BYTE* lines, DWORD count, DWORD stride) {
    ULONG written = 0;
    m_pImageStream->AddLines(count);
    m_pImageStream->Write(lines, count * stride, &written);
    WriteRaw(lines, count * stride);
}

// The raw debug file, when there is one. Nothing depends on it.
void CNVwiaMiniDrv::WriteRaw(const void* bytes, DWORD count) {
    DWORD written = 0;
    if (m_hRawFile)
        WriteFile(m_hRawFile, bytes, count, &written, nullptr);
}
