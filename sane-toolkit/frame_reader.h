// The lines of a page as the driver wants them, cut out of what a device of SANE delivers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>

#include "sane-toolkit/raw_frame.h"

inline constexpr std::size_t kToneEntries = 256;
using ToneTables = std::array<std::array<BYTE, kToneEntries>, kColors>;

// The part of the device's picture that is wanted, in pixels. What the device doesn't have of it is
// white.
struct PageCut {
    std::size_t left = 0;
    std::size_t top = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    // What the device's window should have, more or less.
    std::size_t madeWidth = 0;
    std::size_t madeHeight = 0;
    std::size_t mostBelow = 0;  // lines that may come below the wanted ones
    bool isColor = false;       // red, green, blue; else one sample
    bool fromColor = false;     // the device gives colour; else gray, which stands for all three
    bool isSheet = false;       // of a feeder, and may be shorter than it should
};

// One colour's lines, in a file that has no name and goes with the object.
class CPlaneFile {
  public:
    bool Create();
    bool Write(const BYTE* line, std::size_t bytes);
    bool Rewind();
    // False behind the last line.
    bool Read(BYTE* line, std::size_t bytes);

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> m_file;
};

// Reads a page, in one frame or in three, one for each colour in any order.
class CFrameReader {
  public:
    // Asks for the frame that the started device delivers, under the library's lock.
    // OSTREL_NOT_IMPLEMENTED for one that can't be used: colour for gray or the other way round, or
    // what CRawFrame refuses. OSTREL_COMMUNICATION for one much smaller than the window.
    DWORD Begin(CSaneDevice& device, const PageCut& cut, const ToneTables& tones);
    std::size_t LineBytes() const { return m_cut.width * (m_cut.isColor ? kColors : 1); }
    // Writes one line of LineBytes(). OSTREL_END_OF_MEDIA, and nothing is written, behind the last.
    // Takes the lock by itself. Of three frames the first two are read whole ahead of the first
    // line.
    DWORD ReadLine(BYTE* out);
    // Takes what the device has below the wanted lines, so that the frame ends by itself and isn't
    // cancelled on its last lines.
    void Drain() { m_frame.Drain(m_cut.mostBelow); }
    // The device has told the page's end.
    bool IsOver() const { return m_frame.IsOver(); }

  private:
    DWORD KeepPlanes();
    DWORD KeepPlane(CPlaneFile& plane);
    DWORD NextFrame();
    DWORD BeginFrame();
    DWORD SkipTop();
    void WriteLine(BYTE* out) const;
    bool AddPlanes(BYTE* out);

    CSaneDevice* m_device = nullptr;
    CRawFrame m_frame;
    PageCut m_cut;
    ToneTables m_tones = {};
    bool m_hasBegun = false;
    // Of three frames.
    std::array<bool, kColors> m_hasColor = {};
    std::array<CPlaneFile, kColors> m_planes;  // but the last one's, which comes by itself
    std::vector<BYTE> m_planeLine;
};
