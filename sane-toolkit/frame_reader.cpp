#include "sane-toolkit/frame_reader.h"

#include <algorithm>

#include "platform/sync.h"
#include "sane-toolkit/sane_device.h"

namespace {

constexpr SANE_Int kMostPixels = 1 << 20;
constexpr SANE_Int kMostLineBytes = 1 << 24;
// Reads without data and without a failure: what a device in trouble gives for ever.
constexpr int kMostEmptyReads = 30000;
constexpr int kMostDrained = 2000;  // lines; the steps of a window are smaller
constexpr DWORD kEmptyPause = 1;    // milliseconds
constexpr BYTE kWhite = 255;

std::size_t ColorsOf(const SANE_Parameters& parameters) {
    return parameters.format == SANE_FRAME_RGB ? kColors : 1;
}

}  // namespace

DWORD CheckFrame(const SANE_Parameters& parameters, bool wantsColor) {
    const bool isColor = parameters.format == SANE_FRAME_RGB;
    if (!isColor && parameters.format != SANE_FRAME_GRAY)
        return OSTREL_NOT_IMPLEMENTED;
    // Gray is made colour, but not colour gray.
    if (parameters.depth != 8 || (isColor && !wantsColor))
        return OSTREL_NOT_IMPLEMENTED;
    if (parameters.pixels_per_line <= 0 || parameters.pixels_per_line > kMostPixels ||
        parameters.bytes_per_line <= 0 || parameters.bytes_per_line > kMostLineBytes)
        return OSTREL_COMMUNICATION;
    return OSTREL_NO_ERROR;
}

DWORD CFrameReader::Begin(SANE_Handle device, const PageCut& cut, const ToneTables& tones) {
    m_device = device;
    m_cut = cut;
    m_tones = tones;
    m_hasSkipped = false;
    m_parameters = {};
    if (const SANE_Status status = sane_get_parameters(device, &m_parameters);
        status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    if (const DWORD code = CheckFrame(m_parameters, cut.isColor); code != OSTREL_NO_ERROR)
        return code;
    // A device that tells more pixels than its lines have room for has as many as there are.
    const auto colors = static_cast<SANE_Int>(ColorsOf(m_parameters));
    m_parameters.pixels_per_line =
        std::min(m_parameters.pixels_per_line, m_parameters.bytes_per_line / colors);
    m_raw.resize(static_cast<std::size_t>(m_parameters.bytes_per_line));
    return OSTREL_NO_ERROR;
}

DWORD CFrameReader::ReadRaw() {
    std::size_t have = 0;
    int empty = 0;
    while (have < m_raw.size()) {
        SANE_Int got = 0;
        const auto room = static_cast<SANE_Int>(m_raw.size() - have);
        SANE_Status status = SANE_STATUS_GOOD;
        {
            const std::lock_guard lock(CSaneLibrary::Lock());
            status = sane_read(m_device, m_raw.data() + have, room, &got);
        }
        // A line that isn't whole at the end is none.
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
    return OSTREL_NO_ERROR;
}

// Gray stands for all three colours.
BYTE CFrameReader::Sample(std::size_t pixel, std::size_t color) const {
    const std::size_t colors = ColorsOf(m_parameters);
    return m_raw[pixel * colors + std::min(color, colors - 1)];
}

void CFrameReader::Drain() {
    for (int i = 0; i < kMostDrained && ReadRaw() == OSTREL_NO_ERROR; ++i) {
    }
}

DWORD CFrameReader::ReadLine(BYTE* out) {
    for (std::size_t i = m_hasSkipped ? 0 : m_cut.top; i > 0; --i) {
        if (const DWORD code = ReadRaw(); code != OSTREL_NO_ERROR)
            return code;
    }
    m_hasSkipped = true;
    if (const DWORD code = ReadRaw(); code != OSTREL_NO_ERROR)
        return code;
    const std::size_t colors = m_cut.isColor ? kColors : 1;
    const auto pixels = static_cast<std::size_t>(m_parameters.pixels_per_line);
    for (std::size_t x = 0; x < m_cut.width; ++x) {
        for (std::size_t color = 0; color < colors; ++color) {
            const std::size_t from = m_cut.left + x;
            const BYTE sample = from < pixels ? Sample(from, color) : kWhite;
            *out++ = m_tones[color][sample];
        }
    }
    return OSTREL_NO_ERROR;
}
