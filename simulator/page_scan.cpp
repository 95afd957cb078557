#include "simulator/page_scan.h"

#include <algorithm>
#include <cstring>

namespace {

// 1/300 inch from the medium's edge to the window's; negative where the window begins ahead of it.
std::int64_t Behind(std::uint32_t edge, std::uint32_t place) {
    return std::int64_t{edge} - std::int64_t{place};
}

// An empty glass: all that a scan sees is the lid.
class CNoMedium final : public CMedium {
  public:
    CNoMedium() { m_xDpi = m_yDpi = 300; }
    void ReadLine(std::int32_t, std::uint8_t*) override {}
};

// Paper of the size and resolution of another sheet.
class CBlankSheet final : public CMedium {
  public:
    explicit CBlankSheet(const CMedium& like) {
        m_width = like.Width();
        m_height = like.Height();
        m_xDpi = like.XDpi();
        m_yDpi = like.YDpi();
    }
    void ReadLine(std::int32_t, std::uint8_t* rgb) override {
        constexpr std::uint8_t kPaper = 240;
        std::fill_n(rgb, static_cast<std::size_t>(m_width) * 3, kPaper);
    }
};

}  // namespace

CPageScan::CPageScan(std::unique_ptr<CMedium> medium, const CPlacing& place, CRgb lid,
                     const CScanWindow& window, const CLineFormatSettings& format,
                     std::shared_ptr<const CToneMap> toneMap)
    : m_medium(std::move(medium)),
      m_toneMap(std::move(toneMap)),
      m_resampler(*m_medium,
                  CScanAxis(window.m_pixels, window.m_xResolution,
                            Behind(window.m_left, place.m_left), m_medium->XDpi()),
                  CScanAxis(window.m_lines, window.m_yResolution, Behind(window.m_top, place.m_top),
                            m_medium->YDpi()),
                  lid),
      m_format(format, m_medium->Light()),
      m_lineBytes(m_format.LineBytes(window.m_pixels)),
      m_light(std::size_t{window.m_pixels} * 3),
      m_lidLine(m_lineBytes) {
    // The lid's bytes are worked out once; they fill a line on both sides of the medium.
    if (!m_format.HasValueTables() || !m_resampler.IsExact())
        return;
    for (std::size_t i = 0; i < m_light.size(); i += 3) {
        m_light[i] = LightOf(lid.m_red);
        m_light[i + 1] = LightOf(lid.m_green);
        m_light[i + 2] = LightOf(lid.m_blue);
    }
    m_format.Convert(0, m_light.data(), window.m_pixels, m_lidLine.data());
}

// The short way copies the medium's bytes and maps them; any other goes through 16-bit light.
void CPageScan::MakeLine(std::uint8_t* out) {
    const std::uint32_t pixels = m_resampler.Pixels();
    if (!m_format.HasValueTables() || !m_resampler.IsExact()) {
        m_resampler.Line(m_line, m_light.data());
        m_format.Convert(m_line, m_light.data(), pixels, out);
        return;
    }
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    m_resampler.ExactLine(m_line, out, &begin, &end);
    m_format.ConvertValues(out + std::size_t{begin} * 3, end - begin);
    std::memcpy(out, m_lidLine.data(), std::size_t{begin} * 3);
    std::memcpy(out + std::size_t{end} * 3, m_lidLine.data(), std::size_t{pixels - end} * 3);
}

// Whole lines go straight into the caller's buffer. A line of which only a part fits is kept until
// the rest is asked for.
std::size_t CPageScan::Read(std::uint8_t* out, std::size_t bytes, std::uint32_t endLine) {
    const std::uint32_t lines = std::min(endLine, Lines());
    std::size_t done = 0;
    while (done < bytes && m_line < lines) {
        if (m_partUsed == 0 && bytes - done >= m_lineBytes) {
            MakeLine(out + done);
            done += m_lineBytes;
            ++m_line;
            continue;
        }
        if (m_partUsed == 0) {
            m_part.resize(m_lineBytes);
            MakeLine(m_part.data());
        }
        const std::size_t count = std::min(bytes - done, m_lineBytes - m_partUsed);
        std::memcpy(out + done, m_part.data() + m_partUsed, count);
        done += count;
        m_partUsed += count;
        if (m_partUsed == m_lineBytes) {
            m_partUsed = 0;
            ++m_line;
        }
    }
    return done;
}

// A line counts when all of it lies on the medium: its lower edge is top / 300 + line / resolution
// inches down.
std::uint32_t LinesOnMedium(const CScanWindow& window, std::int32_t height, std::uint32_t dpi) {
    const std::int64_t left = std::int64_t{height} * 300 - std::int64_t{window.m_top} * dpi;
    if (left <= 0)
        return 0;
    const std::int64_t lines = left * window.m_yResolution / (300 * std::int64_t{dpi});
    return static_cast<std::uint32_t>(std::min<std::int64_t>(lines, window.m_lines));
}

std::unique_ptr<CMedium> MakeNoMedium() {
    return std::make_unique<CNoMedium>();
}

std::unique_ptr<CMedium> MakeBlankSheet(const CMedium& like) {
    return std::make_unique<CBlankSheet>(like);
}
