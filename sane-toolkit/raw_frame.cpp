#include "sane-toolkit/raw_frame.h"

#include <algorithm>
#include <cstring>

#include "controller/toolkit_records.h"
#include "platform/sync.h"

namespace {

constexpr SANE_Int kMostPixels = 1 << 20;
constexpr SANE_Int kMostLineBytes = 1 << 24;
// Reads without data and without a failure: what a device in trouble gives for ever.
constexpr int kMostEmptyReads = 30000;
constexpr DWORD kEmptyPause = 1;  // milliseconds

constexpr std::size_t kFewLines = 2;
constexpr std::size_t kBitsOfByte = 8;
constexpr BYTE kMost = 255;

std::size_t BytesFor(std::size_t pixels, SANE_Int depth, std::size_t samples) {
    return depth == 1 ? (pixels + kBitsOfByte - 1) / kBitsOfByte * samples
                      : pixels * samples * static_cast<std::size_t>(depth) / kBitsOfByte;
}

}  // namespace

DWORD CheckFrameKind(const SANE_Parameters& parameters) {
    // A device may say what is no SANE_Frame at all, which may not be read as one.
    int kind = 0;
    static_assert(sizeof(kind) == sizeof(parameters.format));
    std::memcpy(&kind, &parameters.format, sizeof(kind));
    switch (kind) {
        case SANE_FRAME_GRAY:
        case SANE_FRAME_RGB:
        case SANE_FRAME_RED:
        case SANE_FRAME_GREEN:
        case SANE_FRAME_BLUE:
            break;
        default:
            return OSTREL_NOT_IMPLEMENTED;
    }
    const SANE_Int depth = parameters.depth;
    return depth == 1 || depth == 8 || depth == 16 ? OSTREL_NO_ERROR : OSTREL_NOT_IMPLEMENTED;
}

DWORD CRawFrame::Begin(CSaneDevice& device, bool isSheet) {
    m_device = &device;
    m_isSheet = isSheet;
    m_lines = 0;
    m_isOver = false;
    m_parameters = {};
    if (const SANE_Status status = sane_get_parameters(device.Handle(), &m_parameters);
        status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    if (const DWORD code = CheckFrameKind(m_parameters); code != OSTREL_NO_ERROR)
        return code;
    const SANE_Int pixels = m_parameters.pixels_per_line;
    const SANE_Int bytes = m_parameters.bytes_per_line;
    if (pixels <= 0 || pixels > kMostPixels || bytes <= 0 || bytes > kMostLineBytes)
        return OSTREL_COMMUNICATION;
    m_raw.resize(static_cast<std::size_t>(bytes));
    m_pixels = static_cast<std::size_t>(pixels);
    if (m_raw.size() < BytesFor(m_pixels, m_parameters.depth, Samples()))
        return OSTREL_COMMUNICATION;
    if (m_parameters.depth != 8)
        m_samples.resize(m_pixels * Samples());
    return OSTREL_NO_ERROR;
}

// A page of nothing is none, and of what the device told a line or two may be missing. Whoever told
// no number may end anywhere.
bool CRawFrame::IsTooShort() const {
    constexpr std::size_t kShare = 200;
    return m_lines == 0 ||
           (!m_isSheet && m_lines + std::max(ToldLines() / kShare, kFewLines) < ToldLines());
}

DWORD CRawFrame::ReadRaw() {
    std::size_t have = 0;
    int empty = 0;
    while (have < m_raw.size()) {
        SANE_Int got = 0;
        const auto room = static_cast<SANE_Int>(m_raw.size() - have);
        SANE_Status status = SANE_STATUS_GOOD;
        {
            const std::lock_guard lock(CSaneLibrary::Lock());
            if (m_device->IsToStop())
                return OSTREL_CANCEL_BUTTON;
            status = sane_read(m_device->Handle(), m_raw.data() + have, room, &got);
        }
        m_isOver = status == SANE_STATUS_EOF;
        if (m_isOver && IsTooShort())
            return OSTREL_COMMUNICATION;
        if (status != SANE_STATUS_GOOD)
            return CodeOfSane(status);
        if (got < 0 || got > room)
            return OSTREL_COMMUNICATION;
        have += static_cast<std::size_t>(got);
        if (got == 0) {
            if (++empty > kMostEmptyReads)
                return OSTREL_COMMUNICATION;
            Sleep(kEmptyPause);
        }
    }
    ++m_lines;
    return OSTREL_NO_ERROR;
}

// Of one bit, eight pixels are a byte, the first in its highest bit, and colours take turns byte by
// byte; a bit that is set is black in gray, and light in a colour. 16 bits have the machine's order
// and are rounded.
void CRawFrame::Unpack() {
    const std::size_t samples = Samples();
    if (m_parameters.depth == 1) {
        const bool isSetLight = m_parameters.format != SANE_FRAME_GRAY;
        for (std::size_t x = 0; x < m_pixels; ++x) {
            for (std::size_t color = 0; color < samples; ++color) {
                const BYTE byte = m_raw[x / kBitsOfByte * samples + color];
                const bool isSet = (byte >> (kBitsOfByte - 1 - x % kBitsOfByte) & 1) != 0;
                m_samples[x * samples + color] = isSet == isSetLight ? kMost : 0;
            }
        }
    } else if (m_parameters.depth == 16) {
        for (std::size_t i = 0; i < m_samples.size(); ++i) {
            WORD deep = 0;
            std::memcpy(&deep, m_raw.data() + i * sizeof(deep), sizeof(deep));
            constexpr unsigned kStep = 0xFFFF / kMost;
            m_samples[i] = static_cast<BYTE>((deep + kStep / 2) / kStep);
        }
    }
}

DWORD CRawFrame::Read() {
    const DWORD code = ReadRaw();
    if (code == OSTREL_NO_ERROR)
        Unpack();
    return code;
}

void CRawFrame::Drain(std::size_t lines) {
    while (lines > 0 && ReadRaw() == OSTREL_NO_ERROR)
        --lines;
}
