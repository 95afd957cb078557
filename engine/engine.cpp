#include "engine/engine.h"

#include <algorithm>
#include <new>

#include "engine/chain.h"

namespace {

constexpr std::int32_t kSourceBits = 8;

// What the engine provides, in the order of registration. Runs of ids stand as first and last.
struct IdRun {
    std::int32_t first;
    std::int32_t last;
};
constexpr IdRun kProvided[] = {
    {QL_ATTR_STATUS, QL_ATTR_STATUS},
    {QL_ATTR_SKIP_SHARPEN, QL_ATTR_SKIP_SHARPEN},
    {QL_ATTR_INPUT_STREAM, QL_ATTR_OUTPUT_STREAM},
    {QL_ATTR_ADF, QL_ATTR_ADF},
    {QL_ATTR_ENGINE_RESERVED_121, QL_ATTR_ENGINE_RESERVED_121},
    {QL_ATTR_SOURCE_BITS, QL_ATTR_SOURCE_BITS},
    {QL_ATTR_DEVICE_MATRIX, QL_ATTR_DEVICE_MATRIX},
    {QL_ATTR_TMA_MATRIX, QL_ATTR_TMA_MATRIX},
    {QL_ATTR_SRGB_OUTPUT, QL_ATTR_ENGINE_FLAG_28},
    {QL_ATTR_DEFAULT_WORD, QL_ATTR_DEFAULT_WORD},
    {QL_ATTR_NEG_CURVE_0, QL_ATTR_NEG_CURVE_8},
    {QL_ATTR_NEG_TENTH, QL_ATTR_NEG_TENTH},
    {QL_ATTR_DENSITY_MATRIX, QL_ATTR_POST_MATRIX},
    {QL_ATTR_SLIDE_CURVE_0, QL_ATTR_SLIDE_B_CURVE_8},
    {QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B},
    {QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B},
    {QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B},
    {QL_ATTR_GRAY_TONE_BLACK, QL_ATTR_GRAY_TONE_GAMMA},
    {QL_ATTR_GRAY_WEIGHTS, QL_ATTR_GRAY_WEIGHTS},
    {QL_ATTR_ENGINE_RESERVED_316, QL_ATTR_ENGINE_RESERVED_316},
    {QL_ATTR_HOLD_OUTPUT, QL_ATTR_HOLD_OUTPUT},
    {QL_ATTR_ENGINE_RESERVED_365, QL_ATTR_ENGINE_RESERVED_365},
    {QL_ATTR_ENGINE_RESERVED_377, QL_ATTR_ENGINE_RESERVED_377},
    {QL_ATTR_ENGINE_RESERVED_379, QL_ATTR_ENGINE_RESERVED_379},
    {QL_ATTR_ADF_EVENT_ENABLE, QL_ATTR_ADF_EVENT_ENABLE},
    {QL_ATTR_ENGINE_RESERVED_153, QL_ATTR_ENGINE_RESERVED_153},
};

constexpr std::int32_t kListened[] = {QL_ATTR_ENGINE_EVENT_351, QL_ATTR_ENGINE_EVENT_352,
                                      QL_ATTR_ENGINE_EVENT_354, QL_ATTR_TAP_HEADER,
                                      QL_ATTR_TAP_BAND,         QL_ATTR_END_OF_IMAGE};

constexpr struct {
    std::int32_t id;
    std::uint64_t value;
} kStartValues[] = {
    {QL_ATTR_CHAIN_FLAG_116, 1},  {QL_ATTR_CHAIN_FLAG_345, 1},
    {QL_ATTR_THRESHOLD_CELL, 1},  {QL_ATTR_AUTO_THRESHOLD_ON, 1},
    {QL_ATTR_SHARPEN_APPLY, 1},   {QL_ATTR_CHAIN_FLAG_117, 1},
    {QL_ATTR_INVERT, 0},          {QL_ATTR_SOURCE_FLAG, 0},
    {QL_ATTR_NOISE_SMOOTH_ON, 1}, {QL_ATTR_SATURATION_BOOST, 0},
    {QL_ATTR_AUTO_DESKEW_B, 0},   {QL_ATTR_AUTO_DESKEW_A, 0},
};

// The coefficients of the selected record, which a change of the source announces.
constexpr IdRun kToneIds[] = {
    {QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B},
    {QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B},
    {QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B},
};

bool Within(std::int32_t id, std::int32_t first, std::int32_t last) {
    return id >= first && id <= last;
}

// The nine curve coefficients of a record: three blacks, three gains, three gammas.
std::uint64_t CurveCoefficient(const QLCoeffRecord& record, std::int32_t index) {
    const double* const groups[3] = {record.m_black, record.m_gain, record.m_gamma};
    return ToFixed(groups[index / 3][index % 3]);
}

}  // namespace

CQLEngine::CQLEngine() = default;

CQLEngine::~CQLEngine() {
    m_chain.reset();
    AttachTree(nullptr);
}

// ---- Attributes

HRESULT CQLEngine::Init() {
    if (!m_treeRoot)
        m_treeRoot.reset(new (std::nothrow) QLAttribTree);
    if (m_treeRoot && !m_chain) {
        AttachTree(m_treeRoot.get());
        RegisterAttributes();
        m_chain.reset(new (std::nothrow) CChainFull(m_treeRoot.get()));
        for (const std::int32_t id : kListened)
            Subscribe(id);
        if (m_chain)
            SetStartValues();
        Notify(QL_ATTR_REARM);
    }
    m_ready = true;
    return m_chain ? S_OK : E_FAIL;
}

void CQLEngine::RegisterAttributes() {
    for (const IdRun& run : kProvided) {
        for (std::int32_t id = run.first; id <= run.last; ++id)
            RegisterProvider(id);
    }
}

void CQLEngine::SetStartValues() {
    for (const auto& start : kStartValues)
        SetValue(start.id, start.value);
}

const QLCoeffRecord& CQLEngine::SelectedCoeffs() const {
    return m_useFeeder ? m_feederCoeffs : m_flatbedCoeffs;
}

std::uint64_t CQLEngine::GetCoefficient(std::int32_t id) const {
    const QLCoeffRecord& tone = SelectedCoeffs();
    if (Within(id, QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B))
        return CurveCoefficient(tone, id - QL_ATTR_TONE_BLACK_R);
    if (Within(id, QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B))
        return CurveCoefficient(tone, 3 + id - QL_ATTR_TONE_GAIN_R);
    if (Within(id, QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B))
        return CurveCoefficient(tone, 6 + id - QL_ATTR_TONE_GAMMA_R);
    if (Within(id, QL_ATTR_NEG_CURVE_0, QL_ATTR_NEG_CURVE_8))
        return CurveCoefficient(m_negCoeffs, id - QL_ATTR_NEG_CURVE_0);
    if (Within(id, QL_ATTR_SLIDE_CURVE_0, QL_ATTR_SLIDE_CURVE_8))
        return CurveCoefficient(m_slideCoeffs, id - QL_ATTR_SLIDE_CURVE_0);
    if (Within(id, QL_ATTR_SLIDE_B_CURVE_0, QL_ATTR_SLIDE_B_CURVE_8))
        return CurveCoefficient(m_slideCoeffsB, id - QL_ATTR_SLIDE_B_CURVE_0);
    return 0;
}

std::uint64_t CQLEngine::GetAttrib(std::int32_t id) {
    switch (id) {
        case QL_ATTR_SKIP_SHARPEN:
            return m_skipSharpen;
        case QL_ATTR_INPUT_STREAM:
            return PointerWord(static_cast<IStream*>(m_inputStream));
        case QL_ATTR_OUTPUT_STREAM:
            return PointerWord(m_outputStream);
        case QL_ATTR_SRGB_OUTPUT:
            return m_defaults.m_srgbOutput;
        case QL_ATTR_ENGINE_FLAG_28:
            return m_defaults.m_engineFlag28;
        case QL_ATTR_DENSITY_MATRIX:
            return PointerWord(m_densityMatrix);
        case QL_ATTR_POST_MATRIX:
            return PointerWord(m_postMatrix);
        case QL_ATTR_TMA_MATRIX:
            return PointerWord(m_tmaMatrix);
        case QL_ATTR_DEVICE_MATRIX:
            return PointerWord(m_flatbedMatrix);
        case QL_ATTR_NEG_TENTH:
            return ToFixed(m_negCoeffs.m_tenth);
        case QL_ATTR_ADF:
            return m_useFeeder;
        case QL_ATTR_SOURCE_BITS:
            return kSourceBits;
        case QL_ATTR_DEFAULT_WORD:
            return m_useFeeder ? m_defaults.m_feederLidColor : m_defaults.m_lidColor;
        case QL_ATTR_GRAY_WEIGHTS:
            return PointerWord(m_grayCoeffs.m_weights);
        case QL_ATTR_GRAY_TONE_BLACK:
            return ToFixed(m_grayCoeffs.m_black);
        case QL_ATTR_GRAY_TONE_GAIN:
            return ToFixed(m_grayCoeffs.m_gain);
        case QL_ATTR_GRAY_TONE_GAMMA:
            return ToFixed(m_grayCoeffs.m_gamma);
        default:
            return GetCoefficient(id);
    }
}

void CQLEngine::SetAttrib(std::int32_t id, std::uint64_t value) {
    if (id == QL_ATTR_ADF) {
        SetUseFeeder(value != 0);
        return;
    }
    const auto* source = WordPointer<const double>(value);
    if (!source)
        return;
    switch (id) {
        case QL_ATTR_DENSITY_MATRIX:
            std::copy_n(source, 18, m_densityMatrix);
            break;
        case QL_ATTR_POST_MATRIX:
            std::copy_n(source, 9, m_postMatrix);
            break;
        case QL_ATTR_TMA_MATRIX:
            std::copy_n(source, 9, m_tmaMatrix);
            break;
        case QL_ATTR_DEVICE_MATRIX:
            std::copy_n(source, 9, m_useFeeder ? m_feederMatrix : m_flatbedMatrix);
            break;
        default:
            break;
    }
}

void CQLEngine::SetUseFeeder(bool useFeeder) {
    if (useFeeder == m_useFeeder)
        return;
    m_useFeeder = useFeeder;
    // Another coefficient record is selected now.
    for (const IdRun& run : kToneIds) {
        for (std::int32_t id = run.first; id <= run.last; ++id)
            Notify(id);
    }
    Notify(QL_ATTR_DEFAULT_WORD);
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
    *id = ++m_nextClientId;
    m_clients[*id] = client;
    return S_OK;
}

HRESULT CQLEngine::Start() {
    if (m_ready && !m_started) {
        m_started = true;
        if (m_chain)
            m_chain->StartRun();
        Notify(QL_ATTR_CMD_START);
    }
    return S_OK;
}

HRESULT CQLEngine::Stop() {
    Notify(QL_ATTR_CMD_STOP);
    m_started = false;
    m_inputStream = nullptr;
    ForgetImage();
    return S_OK;
}

HRESULT CQLEngine::SetInputStream(CQLInputStream* stream) {
    if (!stream)
        return E_INVALIDARG;
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
    return Fire(QL_ATTR_CMD_FEED);
}

HRESULT CQLEngine::FireEnd() {
    return Fire(QL_ATTR_CMD_END);
}

HRESULT CQLEngine::FireAnalyse() {
    return Fire(QL_ATTR_CMD_ANALYSE);
}

HRESULT CQLEngine::FireOpenAnalysed() {
    return Fire(QL_ATTR_CMD_OPEN_ANALYSED);
}

// ---- What the tail of the chain publishes

void CQLEngine::OnAttribNotify(std::int32_t id) {
    switch (id) {
        case QL_ATTR_TAP_HEADER:
            if (GetValue(QL_ATTR_TAP_ON) != 0)
                OnHeader();
            break;
        case QL_ATTR_TAP_BAND:
            if (GetValue(QL_ATTR_TAP_ON) != 0)
                OnBand();
            break;
        case QL_ATTR_END_OF_IMAGE:
            OnEndOfImage();
            break;
        default:
            break;
    }
}

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
    auto* bitmap = WordPointer<CQLBitmap>(GetValue(QL_ATTR_TAP_HEADER));
    if (!bitmap)
        return;
    if (m_outputStream) {
        WriteHeaderToStream();
        return;
    }
    const BITMAPINFOHEADER& header = bitmap->Header();
    DWORD colors = header.biClrUsed;
    if (colors == 0 && header.biBitCount < 9)
        colors = 1u << header.biBitCount;
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD colors[256];
    } block = {};
    block.header = header;
    const auto table = bitmap->ColorTable();
    std::copy_n(table.begin(), std::min<std::size_t>(colors, table.size()), block.colors);
    // An image before may have been left without its end.
    m_bandRect = {};
    m_imageHeight = header.biHeight;
    m_imageWidth = header.biWidth;
    m_imageBits = header.biBitCount;
    CallClients(QL_IMAGE_CALLBACK_DIB_HEADER, 0,
                static_cast<std::int32_t>(sizeof(header) + colors * sizeof(RGBQUAD)),
                reinterpret_cast<std::uint8_t*>(&block));
}

void CQLEngine::WriteHeaderToStream() {
    auto* bitmap = WordPointer<CQLBitmap>(GetValue(QL_ATTR_TAP_HEADER));
    bitmap->Header().biHeight = -bitmap->Header().biHeight;
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfOffBits = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
    file.bfSize = bitmap->Header().biSizeImage + file.bfOffBits;
    ULONG written = 0;
    m_outputStream->Write(&file, sizeof(file), &written);
    m_outputStream->Write(&bitmap->Header(), sizeof(BITMAPINFOHEADER), &written);
    const auto table = bitmap->ColorTable();
    if (!table.empty()) {
        m_outputStream->Write(table.data(), static_cast<ULONG>(table.size_bytes()), &written);
    }
}

void CQLEngine::OnBand() {
    const auto* band = WordPointer<const CQLLineBuffer>(GetValue(QL_ATTR_TAP_BAND));
    QLRect rect;
    GetRect(QL_ATTR_TAP_RECT, &rect);
    if (!band)
        return;
    const std::int32_t length = band->Stride() * (rect.bottom - rect.top);
    if (m_outputStream) {
        ULONG written = 0;
        m_outputStream->Write(band->Data(), static_cast<ULONG>(length), &written);
        return;
    }
    m_bandRect = rect;
    CallClients(QL_IMAGE_CALLBACK_DIB_BUFFER,
                static_cast<std::uint32_t>(GetInteger(QL_ATTR_PERCENT_DONE)), length, band->Data());
}

void CQLEngine::OnEndOfImage() {
    if (!m_cancelled && m_bandRect.bottom < m_imageHeight)
        FillWhite();
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
    constexpr std::uint32_t kFillPercent = 99;
    const std::int64_t bytes = std::int64_t{m_imageWidth} * m_imageBits / 8;
    std::unique_ptr<std::uint8_t[]> white(new (std::nothrow)
                                              std::uint8_t[static_cast<std::size_t>(bytes)]);
    if (!white)
        return;
    std::fill_n(white.get(), bytes, std::uint8_t{0xFF});
    for (std::int32_t line = m_bandRect.bottom; line < m_imageHeight && !m_cancelled; ++line) {
        CallClients(QL_IMAGE_CALLBACK_DIB_BUFFER, kFillPercent, static_cast<std::int32_t>(bytes),
                    white.get());
    }
}
