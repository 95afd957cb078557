// A frame of a device of SANE, line by line, in samples of 8 bits.
#pragma once

#include <sane/sane.h>

#include <cstddef>
#include <vector>

#include "platform/types.h"
#include "sane-toolkit/sane_device.h"

inline constexpr std::size_t kColors = 3;

// OSTREL_NOT_IMPLEMENTED for other depths than 1, 8 and 16 bits, and for other kinds of frames than
// gray, colour and one of the three colours.
DWORD CheckFrameKind(const SANE_Parameters& parameters);

// Lines may be padded, come in pieces, and be of any number. All calls are under the library's lock
// but Read and Drain, which take it read for read.
class CRawFrame {
  public:
    // Asks for the frame that the started device delivers. OSTREL_NOT_IMPLEMENTED for one that
    // CheckFrameKind refuses, OSTREL_COMMUNICATION for sizes that can't be. A sheet may be shorter
    // than what the device tells.
    DWORD Begin(CSaneDevice& device, bool isSheet);
    SANE_Frame Kind() const { return m_parameters.format; }
    bool IsLast() const { return m_parameters.last_frame != SANE_FALSE; }
    // Samples of a pixel.
    std::size_t Samples() const { return m_parameters.format == SANE_FRAME_RGB ? kColors : 1; }
    std::size_t Pixels() const { return m_pixels; }
    // 0 when the device doesn't know.
    std::size_t ToldLines() const {
        return m_parameters.lines > 0 ? static_cast<std::size_t>(m_parameters.lines) : 0;
    }

    // OSTREL_END_OF_MEDIA behind the last line; one that isn't whole at the end is none.
    // OSTREL_COMMUNICATION for an end that comes too soon, OSTREL_CANCEL_BUTTON when somebody has
    // asked the device to stop.
    DWORD Read();
    // The device has told the frame's end.
    bool IsOver() const { return m_isOver; }
    // Of the line that was read last: pixel by pixel, 255 is the most.
    const BYTE* Line() const { return m_parameters.depth == 8 ? m_raw.data() : m_samples.data(); }
    // Takes what is left, so that the frame ends by itself; at most so many lines.
    void Drain(std::size_t lines);

  private:
    DWORD ReadRaw();
    void Unpack();
    bool IsTooShort() const;

    CSaneDevice* m_device = nullptr;
    SANE_Parameters m_parameters = {};
    std::size_t m_pixels = 0;
    std::size_t m_lines = 0;  // read so far
    bool m_isSheet = false;
    bool m_isOver = false;
    std::vector<BYTE> m_raw;      // a line of the device
    std::vector<BYTE> m_samples;  // the same in 8 bits; of 8 bits it isn't used
};
