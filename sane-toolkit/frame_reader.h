// The lines of a page as the driver wants them, cut out of what a device of SANE delivers.
#pragma once

#include <sane/sane.h>

#include <array>
#include <cstddef>
#include <vector>

#include "controller/toolkit_records.h"

inline constexpr std::size_t kToneEntries = 256;
inline constexpr std::size_t kColors = 3;
using ToneTables = std::array<std::array<BYTE, kToneEntries>, kColors>;

// The part of the device's picture that is wanted, in pixels. What the device doesn't have of it is
// white.
struct PageCut {
    std::size_t left = 0;
    std::size_t top = 0;
    std::size_t width = 0;
    bool isColor = false;  // red, green, blue; else one sample
};

// OSTREL_NOT_IMPLEMENTED for a picture in three passes, for other depths than 8 bits, and for
// colour where gray is wanted; OSTREL_COMMUNICATION for sizes that can't be.
DWORD CheckFrame(const SANE_Parameters& parameters, bool wantsColor);

// Reads one frame of 8 bits, whose lines may be padded. All calls are under the library's
// lock but those that say otherwise.
class CFrameReader {
  public:
    // Asks for the frame that the started device delivers. OSTREL_NOT_IMPLEMENTED for one that
    // CheckFrame refuses.
    DWORD Begin(SANE_Handle device, const PageCut& cut, const ToneTables& tones);
    std::size_t LineBytes() const { return m_cut.width * (m_cut.isColor ? kColors : 1); }
    // Writes one line of LineBytes(). OSTREL_END_OF_MEDIA, and nothing is written, behind the last.
    // Takes the lock by itself, read for read.
    DWORD ReadLine(BYTE* out);
    // Takes what the device's window has below the wanted one, so that the frame ends by itself and
    // isn't cancelled on its last lines.
    void Drain();

  private:
    DWORD ReadRaw();
    BYTE Sample(std::size_t pixel, std::size_t color) const;

    SANE_Handle m_device = nullptr;
    SANE_Parameters m_parameters = {};
    PageCut m_cut;
    ToneTables m_tones = {};
    std::vector<BYTE> m_raw;  // a line of the device
    bool m_hasSkipped = false;
};
