#include "stages/file_source.h"

#include <algorithm>
#include <stdexcept>

#include "frame/try_new.h"
#include "platform/com.h"
#include "platform/registry_key.h"

namespace {

constexpr char kBenchKey[] = "Software\\Norvane\\Varnook";
constexpr DWORD kMaxPathBytes = 260;
// Sharpening goes by the square root of this, once a stage switches the boost on.
constexpr double kSourceSharpenBoost = 2.0;
constexpr std::int32_t kSourceBits = 8;
// Percent, for sharpening levels 0 to 4.
constexpr std::int32_t kSharpenTable[5] = {27, 32, 40, 47, 55};

// The bench file of the user's registry; empty when scanning from a file is off.
bool ReadBenchPath(char (&path)[kMaxPathBytes]) {
    CRegistryKey key;
    DWORD enabled = 0;
    return key.Open(HKEY_CURRENT_USER, kBenchKey) == ERROR_SUCCESS &&
           ReadNumber(key.Get(), "ScanFromFile", enabled) && enabled != 0 &&
           ReadText(key.Get(), "ScanFilePath", path);
}

}  // namespace

std::span<const QLAttribRow> CFileSourceStage::Rows() {
    using S = CFileSourceStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // These ids are the source's as long as there is one: 8 bits is also what the engine
        // answers for a source that is to come.
        R::Provides(QL_ATTR_SOURCE_STREAM_REG).Reads<&S::m_haveReader>(),
        R::Provides(QL_ATTR_SOURCE_PRESENT).Reads<&S::IsPresent>(),
        R::Provides(QL_ATTR_SOURCE_BITS).Reads<&S::SourceBits>(),
        R::Provides(QL_ATTR_SOURCE_FLAG).Keeps<&S::m_sourceFlag>(),
        R::Provides(QL_ATTR_SHARPEN_TABLE_0, QL_ATTR_SHARPEN_TABLE_4).Reads<&S::SharpenStrength>(),
        R::Provides(QL_ATTR_SOURCE_PRESENT_B).Reads<&S::IsPresent>(),
        // On the board the engine holds these, with the numbers of the scanner's profile.
        R::Answers(QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B).Reads<&S::m_toneGamma>(),
        R::Answers(QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B).Reads<&S::m_toneGain>(),
        R::Answers(QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B).Reads<&S::m_toneBlack>(),
        R::Answers(QL_ATTR_DEVICE_MATRIX, QL_ATTR_DEVICE_MATRIX).Points<&S::m_deviceMatrix>(),
        R::Answers(QL_ATTR_TONE_WINDOW_LOW, QL_ATTR_DEVICE_WINDOW_HIGH).Reads<&S::m_toneWindows>(),
        R::Answers(QL_ATTR_GRAY_WEIGHTS, QL_ATTR_GRAY_WEIGHTS).Points<&S::m_grayWeights>(),
        R::Answers(QL_ATTR_GRAY_TONE_BLACK, QL_ATTR_GRAY_TONE_GAMMA).Reads<&S::m_grayTone>(),
    };
    return rows;
}

CFileSourceStage::CFileSourceStage(QLAttribTree* tree) : CQLSourceStage(tree) {
    // The format first: who hears of the new source through its ids can read it already.
    ChooseReader();
    TakeFormat();
    AttachRows(this);
}

std::int32_t CFileSourceStage::SourceBits() const {
    return kSourceBits;
}

std::int32_t CFileSourceStage::SharpenStrength(std::int32_t level) const {
    return kSharpenTable[level];
}

void CFileSourceStage::ChooseReader() {
    char path[kMaxPathBytes];
    if (auto* stream = WordPointer<IStream>(GetValue(QL_ATTR_INPUT_STREAM)))
        m_reader = TryNew<CBmpStreamReader>(stream);
    else if (ReadBenchPath(path))
        m_reader = TryNew<CBmpFileReader>(path);
    // Without a text: nobody asked for a bench file, so there is nothing to tell a person.
    if (!m_reader)
        throw std::runtime_error("");
    m_haveReader = true;
}

void CFileSourceStage::TakeFormat() {
    const bool encoded = GetValue(QL_ATTR_SRGB_OUTPUT) != 0;
    m_outFormat.SetLayout(QL_LAYOUT_AS_IS);
    // The header tells depth and sides, not the encoding; that the profile knows.
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

QLStatus CFileSourceStage::SetRequestedType(std::uint32_t type) {
    m_requestedType = type;
    return QL_OK;
}

QLStatus CFileSourceStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    // Once an image, ahead of its first line.
    if (m_linesRead == 0)
        Notify(QL_ATTR_SOURCE_FIRST_READ);
    const QLStatus status = CQLSourceStage::Read(lines, buffer);
    if (status != QL_OK)
        return status;
    // Beyond the last line an image delivers none, without an error: the pump ends by that.
    *lines = std::min(*lines, m_outFormat.m_height - static_cast<std::int32_t>(m_linesRead));
    if (*lines < 1)
        return QL_OK;
    if (!buffer || !buffer->Data() || buffer->Lines() < *lines ||
        buffer->Stride() < m_outFormat.m_bytesPerLine)
        return QL_ERR_BAD_ARGUMENT;
    if (!m_reader->ReadRows(buffer->Data(), static_cast<std::int32_t>(m_linesRead), *lines))
        return QL_ERR_SOURCE_READ;
    // A stream that ran dry delivers what it had. The lines behind may still come.
    *lines = m_reader->RowsRead();
    m_linesRead += static_cast<std::uint32_t>(*lines);
    return QL_OK;
}

QLStatus CFileSourceStage::Close() {
    // From the top again. A file can be read twice; a stream goes on where it stands.
    m_linesRead = 0;
    return CQLSourceStage::Close();
}
