#include "simulator/medium.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "pictures/picture_reader.h"
#include "platform/bitmap_headers.h"
#include "simulator/display_curve.h"
#include "simulator/sim_failure.h"

namespace {

// Of a picture that doesn't say: the unit of all places on the scanner is 1/300 inch.
constexpr std::uint32_t kDefaultDpi = 300;
constexpr double kFullScale = 65535.0;

std::uint16_t ToLight(double share) {
    return static_cast<std::uint16_t>(std::lround(std::clamp(share, 0.0, 1.0) * kFullScale));
}

// A resolution as it was told, else as the file has it.
std::uint32_t DpiOf(std::uint32_t told, std::int32_t pelsPerMeter) {
    if (told != 0)
        return told;
    const std::int32_t own = DotsPerInch(pelsPerMeter);
    return own > 0 ? static_cast<std::uint32_t>(own) : kDefaultDpi;
}

// Reads its file line by line as the scan goes on: a page is never held whole.
class CPictureMedium final : public CMedium {
  public:
    CPictureMedium(std::string path, const CPlacing& placing);
    void ReadLine(std::int32_t y, std::uint8_t* rgb) override;

  private:
    void Fetch(std::uint8_t* target);

    const std::string m_path;
    std::unique_ptr<CPictureReader> m_reader;
    std::int32_t m_next = 0;
    std::vector<std::uint8_t> m_raw;
};

CPictureMedium::CPictureMedium(std::string path, const CPlacing& placing)
    : m_path(std::move(path)) {
    std::string error;
    m_reader = OpenPicture(m_path, &error);
    if (!m_reader)
        throw CSimFailure(OSTREL_OPEN_FAILED, m_path + ' ' + error);
    const CPictureInfo& info = m_reader->Info();
    m_width = info.m_width;
    m_height = info.m_height;
    m_xDpi = DpiOf(placing.m_xDpi, info.m_xPelsPerMeter);
    m_yDpi = DpiOf(placing.m_yDpi, info.m_yPelsPerMeter);
    m_raw.resize(m_reader->LineBytes());
    if (placing.m_encoding == kEncodingSrgb)
        m_light = std::make_unique<CLightTables>(SrgbLight());
    if (placing.m_encoding == kEncodingNegative)
        m_film = std::make_unique<CColorNegative>(SrgbLight());
}

// A file that breaks off in the middle fails the scan there, and says which.
void CPictureMedium::Fetch(std::uint8_t* target) {
    if (!m_reader->ReadLines(target, 1))
        throw CSimFailure(OSTREL_COMMUNICATION, m_path + ' ' + m_reader->Error());
    ++m_next;
}

void CPictureMedium::ReadLine(std::int32_t y, std::uint8_t* rgb) {
    if (y < m_next)
        throw CSimFailure(OSTREL_UNKNOWN_ERROR, m_path + ": its lines were asked for out of order");
    do
        Fetch(m_raw.data());
    while (m_next <= y);
    const std::uint8_t* from = m_raw.data();
    if (m_reader->Info().m_bitsPerPixel == 8) {
        for (std::int32_t x = 0; x < m_width; ++x, rgb += 3)
            rgb[0] = rgb[1] = rgb[2] = from[x];
        return;
    }
    for (std::int32_t x = 0; x < m_width; ++x, rgb += 3, from += 3) {
        rgb[0] = from[2];
        rgb[1] = from[1];
        rgb[2] = from[0];
    }
}

}  // namespace

std::unique_ptr<CMedium> OpenPictureMedium(const std::string& path, const CPlacing& placing) {
    return std::make_unique<CPictureMedium>(path, placing);
}

// The same for all three colours.
CLightTables SrgbLight() {
    CLightTables tables;
    for (std::size_t i = 0; i < 256; ++i) {
        const double light = LightOfDisplayed(static_cast<double>(i) / 255.0);
        for (auto& table : tables)
            table[i] = ToLight(light);
    }
    return tables;
}
