// One scan of a window: its lines, as the device sends them.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "simulator/line_format.h"
#include "simulator/resampler.h"

// Where a scan looks; lengths in 1/300 inch from the source's corner.
struct CScanWindow {
    std::uint32_t m_left = 0;
    std::uint32_t m_top = 0;
    std::uint32_t m_pixels = 0;
    std::uint32_t m_lines = 0;
    std::uint32_t m_xResolution = 0;
    std::uint32_t m_yResolution = 0;
};

class CPageScan {
  public:
    // The medium's corner lies at `place`; around it is the lid.
    CPageScan(std::unique_ptr<CMedium> medium, const CPlacing& place, CRgb lid,
              const CScanWindow& window, const CLineFormatSettings& format,
              std::shared_ptr<const CToneMap> toneMap);

    std::size_t LineBytes() const { return m_lineBytes; }
    std::uint32_t Lines() const { return m_resampler.Lines(); }
    // Lines of which at least a byte has been given out.
    std::uint32_t LinesBegun() const { return m_line + (m_partUsed > 0 ? 1 : 0); }

    // The next bytes of the lines in front of `endLine`; fewer than asked for when they are used
    // up. Throws CSimFailure.
    std::size_t Read(std::uint8_t* out, std::size_t bytes, std::uint32_t endLine);

  private:
    void MakeLine(std::uint8_t* out);

    const std::unique_ptr<CMedium> m_medium;
    const std::shared_ptr<const CToneMap> m_toneMap;
    CResampler m_resampler;
    const CLineFormat m_format;
    const std::size_t m_lineBytes;
    std::vector<std::uint16_t> m_light;
    std::vector<std::uint8_t> m_lidLine;  // as it is sent
    std::uint32_t m_line = 0;             // the next one to be given out, or the one in m_part
    std::vector<std::uint8_t> m_part;     // a line that was given out in part
    std::size_t m_partUsed = 0;           // 0: there is none
};

// Lines of a window that lie on a medium of `height` lines at `dpi` from the source's top.
std::uint32_t LinesOnMedium(const CScanWindow& window, std::int32_t height, std::uint32_t dpi);

// Nothing at all, and a sheet without print.
std::unique_ptr<CMedium> MakeNoMedium();
std::unique_ptr<CMedium> MakeBlankSheet(const CMedium& like);
