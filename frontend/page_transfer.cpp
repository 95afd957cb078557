#include "frontend/page_transfer.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"
#include "engine/engine.h"
#include "engine/item_properties.h"
#include "frame/image_format.h"
#include "frontend/image_stream.h"
#include "frontend/item_values.h"
#include "platform/bitmap_headers.h"

namespace {

constexpr WORD kFirstRead = 2;  // phases of readScanData
constexpr WORD kNextRead = 0;
constexpr BYTE kWhite = 0xFF;
// No device scans wider lines, so none is asked for.
constexpr LONG kMaxWidth = 0x1000000;
constexpr LONG kDeepest = 24;  // bits a pixel

// Of the whole file in which an item's image ends, with headers and a full palette.
std::int64_t FileBytes(BYTE* item, LONG width, LONG lines) {
    LONG depth = 0;
    ReadItemLong(item, WIA_IPA_DEPTH, &depth);
    const BITMAPINFOHEADER info =
        MakeInfoHeader(width, lines, depth == 1 || depth == 8 ? depth : kDeepest);
    return MakeFileHeader(info, 0).bfOffBits + BitmapImageBytes(info);
}

}  // namespace

CPageTransfer::CPageTransfer(CNVScan& scan, CQLEngine& engine, CImageStream& stream, CLog& log,
                             MINIDRV_TRANSFER_CONTEXT& context)
    : m_scan(scan),
      m_engine(engine),
      m_stream(stream),
      m_log(log),
      m_delivery(context, log),
      m_debug(ReadDebugImageSettings()) {
    m_tap.QueryFrom(context.pIWiaMiniDrvCallBack, IID_IQLInputTap);
}

// ---- Sizes

// What the driver itself wrote at the last validation. It still comes from outside.
HRESULT CPageTransfer::ReadRequest(BYTE* item) {
    const struct {
        PROPID id;
        LONG& value;
    } parts[] = {{WIA_IPS_XRES, m_xRes},
                 {WIA_IPS_YRES, m_yRes},
                 {WIA_IPA_PIXELS_PER_LINE, m_bmpWidth},
                 {WIA_IPA_NUMBER_OF_LINES, m_numberOfLines}};
    for (const auto& part : parts)
        ReadItemLong(item, part.id, &part.value);
    // The item tells the sides of the picture that is delivered.
    const LONG width = m_bmpWidth;
    const LONG lines = m_numberOfLines;
    const LONG rotation = RotationOf(item);
    m_turned = rotation != 0;
    if (IsQuarterTurn(rotation))
        std::swap(m_bmpWidth, m_numberOfLines);
    if (m_bmpWidth > kMaxWidth || std::any_of(std::begin(parts), std::end(parts),
                                              [](auto& part) { return part.value < 1; })) {
        m_log.Format(kLogInformation, "ScanItem: %d x %d pixels at %d x %d can't be scanned",
                     m_bmpWidth, m_numberOfLines, m_xRes, m_yRes);
        return E_INVALIDARG;
    }
    if (m_turned && std::min(width, lines) < QL_LEAST_TURNED_SIDE) {
        m_log.Format(kLogInformation, "ScanItem: %d x %d pixels can't be turned", width, lines);
        return E_INVALIDARG;
    }
    if (m_delivery.IsToFile()) {
        const std::int64_t bytes = FileBytes(item, width, lines);
        return bytes > std::numeric_limits<LONG>::max() ? kFileTooLarge : S_OK;
    }
    if (!m_delivery.HasBuffer()) {
        m_log.Write(kLogInformation, "ScanItem: no buffer to transfer with");
        return E_INVALIDARG;
    }
    return S_OK;
}

// The stream into the engine has one channel or three, whatever the item's depth: that is the
// engine's to make.
HRESULT CPageTransfer::Measure(DWORD channel, const GeomControl& geometry, DWORD scanPixelWidth,
                               DWORD scanLines) {
    if (geometry.scanXRes < 1 || geometry.scanYRes < 1)
        return E_FAIL;
    m_sizes.depth = channel == kChannelColor ? 24 : 8;
    m_sizes.scanWidth = scanPixelWidth;
    m_sizes.bmpWidth = static_cast<DWORD>(m_bmpWidth);
    m_sizes.numberOfLines = static_cast<DWORD>(m_numberOfLines);
    m_sizes.xRes = static_cast<DWORD>(m_xRes);
    m_sizes.yRes = static_cast<DWORD>(m_yRes);
    m_sizes.scanXRes = static_cast<DWORD>(geometry.scanXRes);
    m_sizes.scanYRes = static_cast<DWORD>(geometry.scanYRes);
    m_scanLines = scanLines;
    return S_OK;
}

// ---- The page

HRESULT CPageTransfer::Run(bool& lastSheet) {
    m_scanOpen = true;
    HRESULT hr = m_scan.finalScanInit();
    if (SUCCEEDED(hr)) {
        hr = Transfer(lastSheet);
    } else {
        m_log.Format(kLogInformation,
                     "finalScanInit failed hr %d: bmpWidth %d:scanPixelWidth %d depth %d", hr,
                     m_bmpWidth, m_sizes.scanWidth, m_sizes.depth);
    }
    // No scan goes on that nobody reads.
    if (m_scanOpen)
        m_scan.endScan();
    return hr;
}

// A cancelled page ends as any other: the engine is stopped and the scanner's page is closed, which
// also tells whether the feeder has more. Only what it has made goes nowhere.
HRESULT CPageTransfer::Transfer(bool& lastSheet) {
    HRESULT hr = m_lines.Allocate(m_sizes);
    if (SUCCEEDED(hr))
        hr = RunBandLoop();
    if (FAILED(hr)) {
        m_engine.Stop();
        return hr;
    }
    // What the stream still holds.
    if (!m_delivery.IsCancelled())
        m_engine.FireFeed();
    m_engine.FireEnd();
    m_engine.Stop();
    lastSheet = m_scan.endScan() == S_FALSE;
    m_scanOpen = false;
    // What of a page is there is cut to; a page of which there is nothing is white to its end.
    const DWORD rows = m_lines.RowsMade();
    hr = m_delivery.DeliverFile(rows > 0 && m_linesRead < m_scanLines, rows);
    return SUCCEEDED(hr) && m_delivery.IsCancelled() ? S_FALSE : hr;
}

// The engine is pumped with each band, so that the stream never holds more than a band or two, and
// its callback runs inside FireFeed: a client's cancel is seen before the next band is read.
HRESULT CPageTransfer::RunBandLoop() {
    bool begun = false;
    while (m_linesRead < m_scanLines && !m_delivery.IsCancelled() && !m_stopAfterBand) {
        const DWORD lines = ReadBand();
        const BandRows rows = m_lines.MakeRows(lines);
        if (!begun) {
            const HRESULT hr = BeginBitmap();
            if (FAILED(hr))
                return hr;
            begun = true;
        }
        if (rows.count > 0) {
            const HRESULT hr = FeedRows(rows);
            if (FAILED(hr))
                return hr;
            // Scaled rows take their share of the band.
            const DWORD real = rows.count * m_realLines / lines;
            if (m_tap && real > 0)
                m_tap->InputBytes(rows.bytes, real * m_lines.Stride());
        }
        m_engine.FireFeed();
        m_linesRead += lines;
    }
    // A page without a row is white.
    return m_lines.RowsMade() == 0 ? FeedRows({nullptr, 0}) : S_OK;
}

// The stream starts the engine with the first write behind the headers, even one of nothing. It
// can't begin without memory, or without room for the file of a page that is turned.
HRESULT CPageTransfer::FeedRows(const BandRows& rows) {
    m_stream.AddLines(rows.count);
    WriteStream(rows.bytes, rows.count * m_lines.Stride());
    if (m_delivery.HasImage())
        return S_OK;
    m_log.Write(kLogInformation, "ScanItem: the engine can't begin the image");
    return E_FAIL;
}

// The client was promised a whole page; or lines of the page lie across the picture, where none can
// be left out.
bool CPageTransfer::KeepsHeight() const {
    return !m_delivery.IsToFile() || m_turned;
}

// Lines of the next band, as the device gives them; white ones behind the end of the media when the
// client was promised a whole page. What was begun of a line is dropped.
DWORD CPageTransfer::ReadBand() {
    m_bandLines = std::min(m_bandLines, m_scanLines - m_linesRead);
    const std::size_t lineBytes = m_lines.LineBytes();
    const auto wanted = static_cast<DWORD>(m_bandLines * lineBytes);
    DWORD got = 0;
    if (!m_fillWhite) {
        got = wanted;
        const WORD phase = m_linesRead == 0 ? kFirstRead : kNextRead;
        const HRESULT hr =
            m_scan.readScanData(phase, m_lines.Buffer(), wanted, &got, m_lines.LineBytes());
        if (FAILED(hr)) {
            m_log.Format(kLogInformation, "readScanData failed hr %d: line %d, %d of %d bytes", hr,
                         m_linesRead, got, wanted);
            if (SUCCEEDED(m_readResult))
                m_readResult = hr;
        }
        got = std::min(got, wanted);
        m_fillWhite = got != wanted && KeepsHeight();
        m_stopAfterBand = got != wanted && !KeepsHeight();
    }
    m_realLines = static_cast<DWORD>(got / lineBytes);
    if (!m_fillWhite)
        return m_realLines;
    std::memset(m_lines.Buffer() + m_realLines * lineBytes, kWhite,
                (m_bandLines - m_realLines) * lineBytes);
    return m_bandLines;
}

// ---- Into the engine

// The stream into the engine has the top line first.
HRESULT CPageTransfer::BeginBitmap() {
    if (m_delivery.IsToFile())
        m_delivery.OpenFile();
    if (m_debug.enabled)
        m_raw.Open(m_debug.rawFile);
    BITMAPINFOHEADER header =
        MakeInfoHeader(m_bmpWidth, -m_numberOfLines, static_cast<LONG>(m_sizes.depth));
    header.biXPelsPerMeter = PelsPerMeter(m_xRes);
    header.biYPelsPerMeter = PelsPerMeter(m_yRes);
    return SetupBitmapHeaders(header);
}

// A palette of grays, black first, stands before rows of single samples.
//
// One write each, so that the engine starts with the first band.
HRESULT CPageTransfer::SetupBitmapHeaders(const BITMAPINFOHEADER& header) {
    CFunctionTrace trace("CNVwiaMiniDrv::SetupBitmapHeaders");
    const BITMAPFILEHEADER file = MakeFileHeader(header, header.biSizeImage);
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD palette[kMaxBitmapColors];
    } info = {header, {}};
    const auto paletteBytes = static_cast<DWORD>(header.biClrUsed * sizeof(RGBQUAD));
    FillGrayRamp({info.palette, header.biClrUsed});
    WriteStream(&file, sizeof(file));
    WriteStream(&info.header, sizeof(info.header));
    if (paletteBytes != 0)
        WriteStream(info.palette, paletteBytes);
    if (m_tap)
        m_tap->InputBytes(reinterpret_cast<const BYTE*>(&info), sizeof(info.header) + paletteBytes);
    return trace.GetResult();
}

void CPageTransfer::WriteStream(const void* bytes, DWORD count) {
    ULONG written = 0;
    m_stream.Write(bytes, count, &written);
    m_raw.Write(bytes, count);
}
