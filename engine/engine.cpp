#include "engine/engine.h"

#include <algorithm>

#include "engine/chain.h"
#include "engine/streak_provider.h"
#include "frame/try_new.h"
#include "platform/bitmap_headers.h"
#include "platform/bitmap_white.h"

namespace {

constexpr struct {
    std::int32_t id;
    std::uint64_t value;
    // Written in this order when the stages stand. An id that nobody holds swallows its value.
} kStartValues[] = {
    {QL_ATTR_CHAIN_FLAG_116, 1},  {QL_ATTR_CHAIN_FLAG_345, 1},
    {QL_ATTR_THRESHOLD_CELL, 1},  {QL_ATTR_AUTO_THRESHOLD_ON, 1},
    {QL_ATTR_SHARPEN_APPLY, 1},   {QL_ATTR_CHAIN_FLAG_117, 1},
    {QL_ATTR_INVERT, 0},          {QL_ATTR_SOURCE_FLAG, 0},
    {QL_ATTR_NOISE_SMOOTH_ON, 1}, {QL_ATTR_SATURATION_BOOST, 0},
    {QL_ATTR_AUTO_DESKEW_B, 0},   {QL_ATTR_AUTO_DESKEW_A, 0},
};

}  // namespace

CQLEngine::CQLEngine() = default;

CQLEngine::~CQLEngine() {
    // The stages leave the board before it goes.
    m_chain.reset();
    m_streaks.reset();
    AttachTree(nullptr);
}

HRESULT CQLEngine::Init() {
    if (!m_treeRoot)
        m_treeRoot = TryNew<QLAttribTree>();
    if (m_treeRoot && !m_chain) {
        AttachTree(m_treeRoot.get());
        // The engine's ids first: stages read the profile's numbers from inside their constructors.
        m_rows.Attach(*this, this, Rows());
        m_chain = TryNew<CChainFull>(m_treeRoot.get());
        m_rows.Attach(*this, this, HeardRows());
        if (m_chain)
            SetStartValues();
        Notify(QL_ATTR_REARM);
    }
    // Also without a chain: commands then fall on a board where nobody listens.
    m_ready = true;
    return m_chain ? S_OK : E_FAIL;
}

bool CQLEngine::ProvideStreaks() {
    if (!m_streaks && m_treeRoot)
        m_streaks = TryNew<CStreakProvider>(m_treeRoot.get());
    return m_streaks != nullptr;
}

void CQLEngine::SetStartValues() {
    for (const auto& start : kStartValues)
        SetValue(start.id, start.value);
}

// ---- Clients, streams and commands

HRESULT CQLEngine::RemoveClient(std::uint32_t id) {
    if (id == 0)
        return E_INVALIDARG;
    m_clients.erase(id);
    return S_OK;
}

HRESULT CQLEngine::AddClient(IQLImageCallback* client, std::uint32_t* id) {
    if (!client || !id)
        return E_POINTER;
    // Ids are never given twice, and clients are called in their order.
    *id = ++m_nextClientId;
    m_clients[*id] = client;
    return S_OK;
}

HRESULT CQLEngine::Start() {
    if (m_ready && !m_started) {
        m_started = true;
        if (m_chain)
            // Tells this start from those that a change of the source's kind fires.
            m_chain->StartRun();
        Notify(QL_ATTR_CMD_START);
    }
    return S_OK;
}

HRESULT CQLEngine::Stop() {
    Notify(QL_ATTR_CMD_STOP);
    m_started = false;
    // Borrowed for one run; its owner may take it away from here on.
    m_inputStream = nullptr;
    ForgetImage();
    return S_OK;
}

HRESULT CQLEngine::SetInputStream(CQLInputStream* stream) {
    if (!stream)
        return E_INVALIDARG;
    // The run that stands reads the stream before, which its owner may now take away.
    if (m_started && stream != m_inputStream)
        Stop();
    m_inputStream = stream;
    return S_OK;
}

HRESULT CQLEngine::SetOutputStream(IStream* stream) {
    if (!stream)
        return E_INVALIDARG;
    m_outputStream = stream;
    return S_OK;
}

HRESULT CQLEngine::Fire(std::int32_t id) {
    Notify(id);
    return S_OK;
}

HRESULT CQLEngine::FireBegin() {
    return Fire(QL_ATTR_CMD_BEGIN);
}

HRESULT CQLEngine::FireFeed() {
    const HRESULT hr = Fire(QL_ATTR_CMD_FEED);
    DeliverRest();
    return hr;
}

// Band by band, so that a client's answer is heard. A feed that moves nothing ends it.
void CQLEngine::DeliverRest() {
    std::int32_t delivered = -1;
    while (m_chain && m_chain->HasRest() && !m_cancelled &&
           m_chain->LinesDelivered() != delivered) {
        delivered = m_chain->LinesDelivered();
        Notify(QL_ATTR_CMD_FEED);
    }
}

HRESULT CQLEngine::FireEnd() {
    // Who cancelled wants no lines.
    if (m_chain && !m_cancelled) {
        m_chain->EndInput();
        DeliverRest();
    }
    return Fire(QL_ATTR_CMD_END);
}

void CQLEngine::DropRequests() {
    if (m_chain)
        m_chain->TakeBackRequests();
}

bool CQLEngine::HasOwnPalette() const {
    return m_chain && m_chain->HasOwnPalette();
}

void CQLEngine::PutRotationOnPath(bool on) {
    if (m_chain)
        m_chain->PutRotationOnPath(on);
}

HRESULT CQLEngine::FireAnalyse() {
    Fire(QL_ATTR_CMD_ANALYSE);
    return m_chain && m_chain->HasAnalysed() ? S_OK : S_FALSE;
}

HRESULT CQLEngine::FireOpenAnalysed() {
    return Fire(QL_ATTR_CMD_OPEN_ANALYSED);
}

// ---- What the tail of the chain publishes

void CQLEngine::CallClients(std::uint32_t type, std::uint32_t percent, std::int32_t length,
                            std::uint8_t* buffer) {
    // A client may remove itself or another while it is called; one that joins waits for the next
    // message.
    const std::uint32_t last = m_nextClientId;
    for (auto next = m_clients.begin(); next != m_clients.end() && next->first <= last;) {
        const auto [id, client] = *next;
        m_cancelled = client->ImageCallback(type, 0, percent, length, buffer) == S_FALSE;
        next = m_clients.upper_bound(id);
    }
}

void CQLEngine::OnHeader() {
    if (GetValue(QL_ATTR_TAP_ON) == 0)
        return;
    auto* bitmap = WordPointer<CQLBitmap>(GetValue(QL_ATTR_TAP_HEADER));
    if (!bitmap)
        return;
    if (m_outputStream) {
        WriteHeaderToStream(*bitmap);
        return;
    }
    const BITMAPINFOHEADER& header = bitmap->Header();
    const DWORD colors = BitmapColorCount(header);
    // Header and colours as one block, as clients take them.
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD colors[kMaxBitmapColors];
    } block = {};
    block.header = header;
    const auto table = bitmap->ColorTable();
    std::copy_n(table.begin(), std::min<std::size_t>(colors, table.size()), block.colors);
    // An image before may have been left without its end.
    m_bandRect = {};
    m_imageHeight = header.biHeight;
    m_imageWidth = header.biWidth;
    m_imageBits = header.biBitCount;
    m_whiteByte = WhiteByte(header.biBitCount, table);
    CallClients(QL_IMAGE_CALLBACK_DIB_HEADER, 0,
                static_cast<std::int32_t>(sizeof(header) + colors * sizeof(RGBQUAD)),
                reinterpret_cast<std::uint8_t*>(&block));
}

void CQLEngine::WriteHeaderToStream(CQLBitmap& bitmap) {
    // Bands come with the top line first, which a negative height says of rows.
    bitmap.Header().biHeight = -bitmap.Header().biHeight;
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfOffBits = kBitmapHeaderBytes;
    // Sizes are those of an image without colours, and the colours follow the header all the same:
    // who reads the stream goes by the header.
    file.bfSize = bitmap.Header().biSizeImage + file.bfOffBits;
    ULONG written = 0;
    m_outputStream->Write(&file, sizeof(file), &written);
    m_outputStream->Write(&bitmap.Header(), sizeof(BITMAPINFOHEADER), &written);
    const auto table = bitmap.ColorTable();
    if (!table.empty()) {
        m_outputStream->Write(table.data(), static_cast<ULONG>(table.size_bytes()), &written);
    }
}

void CQLEngine::OnBand() {
    if (GetValue(QL_ATTR_TAP_ON) == 0)
        return;
    const auto* band = WordPointer<const CQLLineBuffer>(GetValue(QL_ATTR_TAP_BAND));
    QLRect rect;
    GetRect(QL_ATTR_TAP_RECT, &rect);
    if (!band)
        return;
    // Fits: the pump asks for no band beyond 31 bits.
    const std::int32_t length = band->Stride() * (rect.bottom - rect.top);
    if (m_outputStream) {
        ULONG written = 0;
        m_outputStream->Write(band->Data(), static_cast<ULONG>(length), &written);
        return;
    }
    // Whole rows out of the pump's own buffer: nothing is copied.
    m_bandRect = rect;
    CallClients(QL_IMAGE_CALLBACK_DIB_BUFFER,
                static_cast<std::uint32_t>(GetInteger(QL_ATTR_PERCENT_DONE)), length, band->Data());
}

void CQLEngine::OnEndOfImage() {
    // Who cancelled wants no lines; everybody else is owed as many as the header said.
    if (!m_cancelled && m_bandRect.bottom < m_imageHeight)
        FillWhite();
    // An image of which nothing went out ends by a message of its own; else the last band was the
    // end.
    const bool noBands = m_bandRect.bottom == 0;
    if (noBands)
        CallClients(QL_IMAGE_CALLBACK_DONE, 100, 0, nullptr);
    ForgetImage();
}

void CQLEngine::ForgetImage() {
    m_bandRect = {};
    m_imageHeight = 0;
    m_imageWidth = 0;
    m_imageBits = 0;
    m_cancelled = false;
}

// Lines that never came are delivered white. They are not padded to bitmap rows.
void CQLEngine::FillWhite() {
    // Never the end: 100 % belongs to images that came whole.
    constexpr std::uint32_t kFillPercent = 99;
    // One line serves for all that are missing.
    const std::int64_t bytes = std::int64_t{m_imageWidth} * m_imageBits / 8;
    const auto white = TryNewRaw<std::uint8_t>(static_cast<std::size_t>(bytes));
    if (!white)
        return;
    std::fill_n(white.get(), bytes, m_whiteByte);
    for (std::int32_t line = m_bandRect.bottom; line < m_imageHeight && !m_cancelled; ++line) {
        CallClients(QL_IMAGE_CALLBACK_DIB_BUFFER, kFillPercent, static_cast<std::int32_t>(bytes),
                    white.get());
    }
}
