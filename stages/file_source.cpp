#include "stages/file_source.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <span>
#include <stdexcept>

#include "platform/com.h"
#include "platform/registry.h"

namespace {

constexpr char kBenchKey[] = "Software\\Norvane\\Varnook";
constexpr DWORD kMaxPathBytes = 260;
constexpr double kSourceSharpenBoost = 2.0;
constexpr std::int32_t kSourceBits = 8;
constexpr std::int32_t kSharpenTable[5] = {27, 32, 40, 47, 55};

// The bench file of the user's registry; empty when scanning from a file is off.
bool ReadBenchPath(char (&path)[kMaxPathBytes + 1]) {
    std::memset(path, 0, sizeof(path));
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kBenchKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD type = 0;
    DWORD enabled = 0;
    DWORD size = sizeof(enabled);
    bool found = RegQueryValueExA(key, "ScanFromFile", nullptr, &type,
                                  reinterpret_cast<BYTE*>(&enabled), &size) == ERROR_SUCCESS &&
                 type == REG_DWORD && enabled != 0;
    size = kMaxPathBytes;
    found = found &&
            RegQueryValueExA(key, "ScanFilePath", nullptr, &type, reinterpret_cast<BYTE*>(path),
                             &size) == ERROR_SUCCESS &&
            type == REG_SZ;
    RegCloseKey(key);
    return found;
}

}  // namespace

CFileSourceStage::CFileSourceStage(QLAttribTree* tree) : CQLSourceStage(tree) {
    ChooseReader();
    TakeFormat();
    for (const std::int32_t id : {QL_ATTR_SOURCE_PRESENT, QL_ATTR_SOURCE_BITS, QL_ATTR_SOURCE_FLAG})
        RegisterProvider(id);
    for (std::int32_t id = QL_ATTR_SHARPEN_TABLE_0; id <= QL_ATTR_SHARPEN_TABLE_4; ++id)
        RegisterProvider(id);
    RegisterProvider(QL_ATTR_SOURCE_PRESENT_B);
}

void CFileSourceStage::ChooseReader() {
    char path[kMaxPathBytes + 1];
    if (auto* stream = WordPointer<IStream>(GetValue(QL_ATTR_INPUT_STREAM)))
        m_reader.reset(new (std::nothrow) CBmpStreamReader(stream));
    else if (ReadBenchPath(path))
        m_reader.reset(new (std::nothrow) CBmpFileReader(path));
    if (!m_reader)
        throw std::runtime_error("");
    m_haveReader = true;
    RegisterProvider(QL_ATTR_SOURCE_STREAM_REG);
}

void CFileSourceStage::TakeFormat() {
    const bool encoded = GetValue(QL_ATTR_SRGB_OUTPUT) != 0;
    m_outFormat.SetLayout(QL_LAYOUT_AS_IS);
    if (m_reader->Info().biBitCount == 24)
        m_outFormat.SetPixelType(encoded ? QL_PIXEL_BGR8_ENCODED : QL_PIXEL_BGR8);
    else
        m_outFormat.SetPixelType(encoded ? QL_PIXEL_GRAY8_ENCODED : QL_PIXEL_GRAY8);
    m_outFormat.SetWidth(m_reader->Info().biWidth);
    m_outFormat.SetHeight(m_reader->Height());
    m_outFormat.m_xResolution = m_reader->XDpi();
    m_outFormat.m_yResolution = m_reader->YDpi();
    m_outFormat.m_xScalePercent = 100;
    m_outFormat.m_yScalePercent = 100;
    m_outFormat.m_sharpenBoost = kSourceSharpenBoost;
}

std::uint64_t CFileSourceStage::GetAttrib(std::int32_t id) {
    // Runs of real numbers, by their first id.
    const struct {
        std::int32_t first;
        std::span<const double> values;
    } runs[] = {
        {QL_ATTR_TONE_GAMMA_R, m_toneGamma},
        {QL_ATTR_TONE_GAIN_R, m_toneGain},
        {QL_ATTR_TONE_BLACK_R, m_toneBlack},
        {QL_ATTR_GRAY_TONE_BLACK, m_grayTone},
    };
    for (const auto& run : runs) {
        if (id >= run.first && id < run.first + std::ssize(run.values))
            return ToFixed(run.values[static_cast<std::size_t>(id - run.first)]);
    }
    switch (id) {
        case QL_ATTR_SHARPEN_TABLE_0:
        case QL_ATTR_SHARPEN_TABLE_1:
        case QL_ATTR_SHARPEN_TABLE_2:
        case QL_ATTR_SHARPEN_TABLE_3:
        case QL_ATTR_SHARPEN_TABLE_4:
            return IntegerWord(kSharpenTable[id - QL_ATTR_SHARPEN_TABLE_0]);
        case QL_ATTR_TONE_WINDOW_LOW:
        case QL_ATTR_TONE_WINDOW_HIGH:
        case QL_ATTR_DEVICE_WINDOW_LOW:
        case QL_ATTR_DEVICE_WINDOW_HIGH:
            return m_toneWindows[id - QL_ATTR_TONE_WINDOW_LOW];
        case QL_ATTR_SOURCE_PRESENT:
        case QL_ATTR_SOURCE_PRESENT_B:
            return 1;
        case QL_ATTR_SOURCE_FLAG:
            return m_sourceFlag;
        case QL_ATTR_SOURCE_BITS:
            return kSourceBits;
        case QL_ATTR_SOURCE_STREAM_REG:
            return m_haveReader;
        case QL_ATTR_DEVICE_MATRIX:
            return PointerWord(m_deviceMatrix);
        case QL_ATTR_GRAY_WEIGHTS:
            return PointerWord(m_grayWeights);
        default:
            return 0;
    }
}

void CFileSourceStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    if (id == QL_ATTR_SOURCE_FLAG)
        m_sourceFlag = value != 0;
}

QLStatus CFileSourceStage::SetRequestedType(std::uint32_t type) {
    m_requestedType = type;
    return QL_OK;
}

QLStatus CFileSourceStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (m_linesRead == 0)
        Notify(QL_ATTR_SOURCE_FIRST_READ);
    const QLStatus status = CQLSourceStage::Read(lines, buffer);
    if (status != QL_OK)
        return status;
    *lines = std::min(*lines, m_outFormat.m_height - static_cast<std::int32_t>(m_linesRead));
    if (*lines < 1)
        return QL_OK;
    if (!buffer || !buffer->Data() || buffer->Lines() < *lines ||
        buffer->Stride() < m_outFormat.m_bytesPerLine)
        return QL_ERR_BAD_ARGUMENT;
    if (!m_reader->ReadRows(buffer->Data(), static_cast<std::int32_t>(m_linesRead), *lines))
        return QL_ERR_SOURCE_READ;
    m_linesRead += static_cast<std::uint32_t>(*lines);
    return QL_OK;
}

QLStatus CFileSourceStage::Close() {
    m_linesRead = 0;
    return CQLSourceStage::Close();
}
