#include "sane-toolkit/frame_reader.h"

#include <algorithm>

#include "controller/toolkit_records.h"
#include "platform/files.h"
#include "sane-toolkit/sane_device.h"

namespace {

constexpr BYTE kWhite = 255;

bool IsPlane(SANE_Frame kind) {
    return kind == SANE_FRAME_RED || kind == SANE_FRAME_GREEN || kind == SANE_FRAME_BLUE;
}
std::size_t ColorOf(SANE_Frame kind) {
    return kind == SANE_FRAME_RED ? 0 : kind == SANE_FRAME_GREEN ? 1 : 2;
}

}  // namespace

bool CPlaneFile::Create() {
    char folder[MAX_PATH] = {};
    char name[MAX_PATH] = {};
    if (GetTempPathA(MAX_PATH, folder) == 0 || GetTempFileNameA(folder, "nvq", 0, name) == 0)
        return false;
    m_file.reset(std::fopen(name, "w+b"));
    std::remove(name);
    return m_file != nullptr;
}
bool CPlaneFile::Write(const BYTE* line, std::size_t bytes) {
    return std::fwrite(line, 1, bytes, m_file.get()) == bytes;
}
bool CPlaneFile::Rewind() {
    return std::fflush(m_file.get()) == 0 && std::fseek(m_file.get(), 0, SEEK_SET) == 0;
}
bool CPlaneFile::Read(BYTE* line, std::size_t bytes) {
    return std::fread(line, 1, bytes, m_file.get()) == bytes;
}

// A device that has another resolution than it says tells a page that is much smaller than the
// window. Who doesn't know the lines, such as a hand scanner, may be narrower too, and a sheet is
// as it is.
DWORD CFrameReader::BeginFrame() {
    constexpr std::size_t kShare = 20;
    constexpr std::size_t kFew = 64;
    const auto isWhole = [](std::size_t told, std::size_t made) {
        return told + made / kShare + kFew >= made;
    };
    if (const DWORD code = m_frame.Begin(*m_device, m_cut.isSheet); code != OSTREL_NO_ERROR)
        return code;
    const std::size_t lines = m_frame.ToldLines();
    const bool isAlike =
        lines == 0 || m_cut.isSheet ||
        (isWhole(m_frame.Pixels(), m_cut.madeWidth) && isWhole(lines, m_cut.madeHeight));
    return isAlike ? OSTREL_NO_ERROR : OSTREL_COMMUNICATION;
}

DWORD CFrameReader::Begin(CSaneDevice& device, const PageCut& cut, const ToneTables& tones) {
    m_device = &device;
    m_cut = cut;
    m_tones = tones;
    m_hasBegun = false;
    m_hasColor = {};
    m_planes = {};
    if (const DWORD code = BeginFrame(); code != OSTREL_NO_ERROR)
        return code;
    return (m_frame.Kind() != SANE_FRAME_GRAY) == cut.fromColor ? OSTREL_NO_ERROR
                                                                : OSTREL_NOT_IMPLEMENTED;
}

DWORD CFrameReader::SkipTop() {
    DWORD code = OSTREL_NO_ERROR;
    for (std::size_t i = 0; i < m_cut.top && code == OSTREL_NO_ERROR; ++i)
        code = m_frame.Read();
    return code;
}

// Every colour comes once.
DWORD CFrameReader::NextFrame() {
    const std::lock_guard lock(CSaneLibrary::Lock());
    if (const SANE_Status status = m_device->Start(); status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    const DWORD code = BeginFrame();
    if (code != OSTREL_NO_ERROR)
        return code;
    return IsPlane(m_frame.Kind()) && !m_hasColor[ColorOf(m_frame.Kind())] ? OSTREL_NO_ERROR
                                                                           : OSTREL_COMMUNICATION;
}

// The whole frame is read, so that the device is ready for the next one.
DWORD CFrameReader::KeepPlane(CPlaneFile& plane) {
    if (!plane.Create())
        return OSTREL_OUT_OF_MEMORY;
    m_planeLine.resize(m_cut.width);
    DWORD code = SkipTop();
    for (std::size_t i = 0; i < m_cut.height && code == OSTREL_NO_ERROR; ++i) {
        code = m_frame.Read();
        if (code != OSTREL_NO_ERROR)
            break;
        for (std::size_t x = 0; x < m_cut.width; ++x) {
            const std::size_t from = m_cut.left + x;
            m_planeLine[x] = from < m_frame.Pixels() ? m_frame.Line()[from] : kWhite;
        }
        if (!plane.Write(m_planeLine.data(), m_planeLine.size()))
            return OSTREL_OUT_OF_MEMORY;
    }
    if (code != OSTREL_NO_ERROR && code != OSTREL_END_OF_MEDIA)
        return code;
    if (code == OSTREL_NO_ERROR)
        Drain();
    return plane.Rewind() ? OSTREL_NO_ERROR : OSTREL_OUT_OF_MEMORY;
}

DWORD CFrameReader::KeepPlanes() {
    for (std::size_t i = 0; i + 1 < kColors; ++i) {
        const std::size_t color = ColorOf(m_frame.Kind());
        DWORD code = KeepPlane(m_planes[color]);
        m_hasColor[color] = true;
        if (code == OSTREL_NO_ERROR)
            code = NextFrame();
        if (code != OSTREL_NO_ERROR)
            return code;
    }
    return OSTREL_NO_ERROR;
}

// Gray stands for all three colours, and so does the last one of three frames, for a moment.
void CFrameReader::WriteLine(BYTE* out) const {
    const std::size_t colors = m_cut.isColor ? kColors : 1;
    const std::size_t samples = m_frame.Samples();
    const std::size_t pixels = m_frame.Pixels();
    const std::size_t there = pixels > m_cut.left ? std::min(m_cut.width, pixels - m_cut.left) : 0;
    const BYTE* from = m_frame.Line() + m_cut.left * samples;
    for (std::size_t x = 0; x < there; ++x, from += samples) {
        for (std::size_t color = 0; color < colors; ++color)
            *out++ = m_tones[color][from[std::min(color, samples - 1)]];
    }
    for (std::size_t x = there; x < m_cut.width; ++x) {
        for (std::size_t color = 0; color < colors; ++color)
            *out++ = m_tones[color][kWhite];
    }
}

bool CFrameReader::AddPlanes(BYTE* out) {
    for (std::size_t color = 0; color < kColors; ++color) {
        if (!m_hasColor[color])
            continue;
        if (!m_planes[color].Read(m_planeLine.data(), m_planeLine.size()))
            return false;
        for (std::size_t x = 0; x < m_cut.width; ++x)
            out[x * kColors + color] = m_tones[color][m_planeLine[x]];
    }
    return true;
}

// What the three frames have in common is the page.
DWORD CFrameReader::ReadLine(BYTE* out) {
    DWORD code = OSTREL_NO_ERROR;
    if (!m_hasBegun) {
        m_hasBegun = true;
        if (IsPlane(m_frame.Kind()))
            code = KeepPlanes();
        if (code == OSTREL_NO_ERROR)
            code = SkipTop();
    }
    if (code == OSTREL_NO_ERROR)
        code = m_frame.Read();
    if (code != OSTREL_NO_ERROR)
        return code;
    WriteLine(out);
    return !IsPlane(m_frame.Kind()) || AddPlanes(out) ? OSTREL_NO_ERROR : OSTREL_END_OF_MEDIA;
}
