#include "tools/process/tone_ramp.h"

#include <algorithm>
#include <cstring>

#include "engine/engine.h"
#include "platform/bitmap_headers.h"
#include "tools/plot/plot_file.h"
#include "tools/plot/tone_plots.h"
#include "tools/process/band_feed.h"
#include "tools/process/picture_stream.h"

namespace {

// A patch is wider and higher than the neighbourhood that any filter looks at: in its middle its
// neighbours don't show.
constexpr std::int32_t kPatchWidth = 32;
constexpr std::int32_t kRampLines = 40;
constexpr std::int32_t kBandLines = 20;
constexpr std::size_t kMiddle = kPatchWidth / 2;

class CRampReader final : public CPictureReader {
  public:
    explicit CRampReader(int bits) {
        m_info.m_width = kPatchWidth * static_cast<std::int32_t>(kToneLevels);
        m_info.m_height = kRampLines;
        m_info.m_bitsPerPixel = bits;
    }
    bool ReadLines(std::uint8_t* target, std::int32_t lines) override {
        const std::size_t patch = LineBytes() / kToneLevels;
        for (std::int32_t line = 0; line < lines; ++line) {
            for (std::size_t level = 0; level < kToneLevels; ++level, target += patch)
                std::memset(target, static_cast<int>(level), patch);
        }
        return true;
    }
};

// Keeps the row in the middle of the patches.
class CRampSink final : public IQLImageCallback {
  public:
    HRESULT ImageCallback(std::uint32_t type, std::uint32_t, std::uint32_t, std::int32_t length,
                          std::uint8_t* buffer) override {
        const auto bytes = static_cast<std::size_t>(length);
        if (type == QL_IMAGE_CALLBACK_DIB_HEADER) {
            std::memcpy(&m_info, buffer, sizeof(m_info));
            const std::size_t colors = (bytes - sizeof(m_info)) / sizeof(RGBQUAD);
            std::memcpy(m_palette, buffer + sizeof(m_info),
                        std::min(colors, kToneLevels) * sizeof(RGBQUAD));
        } else if (type == QL_IMAGE_CALLBACK_DIB_BUFFER) {
            TakeRows({buffer, bytes});
        }
        return S_OK;
    }

    // Empty without a row, or with one of another width.
    std::vector<CToneCurves::Curve> Curves() const {
        const bool isIndexed = m_info.biBitCount != 24;
        std::vector<CToneCurves::Curve> curves;
        if (m_row.empty() || m_info.biWidth != kPatchWidth * static_cast<LONG>(kToneLevels))
            return curves;
        curves.resize(isIndexed && IsGray(m_palette) ? 1 : 3);
        for (std::size_t level = 0; level < kToneLevels; ++level) {
            const std::size_t x = level * kPatchWidth + kMiddle;
            const std::uint8_t* bgr = isIndexed ? &m_palette[Index(x)].rgbBlue : &m_row[3 * x];
            for (std::size_t c = 0; c < curves.size(); ++c)
                curves[c][level] = bgr[2 - c];
        }
        return curves;
    }

  private:
    std::size_t Index(std::size_t x) const {
        return m_info.biBitCount == 1 ? m_row[x / 8] >> (7 - x % 8) & 1 : m_row[x];
    }
    void TakeRows(std::span<const std::uint8_t> rows) {
        const auto stride = static_cast<std::size_t>(BitmapStride(m_info));
        for (; rows.size() >= stride; rows = rows.subspan(stride)) {
            if (m_line++ == kRampLines / 2)
                m_row.assign(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(stride));
        }
    }

    BITMAPINFOHEADER m_info = {};
    RGBQUAD m_palette[kToneLevels] = {};
    std::vector<std::uint8_t> m_row;
    std::int32_t m_line = 0;
};

}  // namespace

bool DrawCurves(CQLEngine& engine, int bits, bool isEncoded, const std::string& path,
                std::string* error) {
    CRampReader reader(bits);
    CPictureStream stream(reader);
    CRampSink sink;
    std::uint32_t client = 0;
    engine.AddClient(&sink, &client);
    // The ramp stands as it was drawn, whichever way pictures are turned.
    engine.SetValue(QL_ATTR_MIRROR, 0);
    engine.PutRotationOnPath(false);
    FeedBands(engine, stream, kBandLines, [] { return false; });
    engine.Stop();
    engine.RemoveClient(client);
    const CToneCurves curves{sink.Curves(), isEncoded};
    if (curves.m_channels.empty()) {
        *error = path + ": the engine could not process a ramp of grays";
        return false;
    }
    const CPlotPanel panels[] = {CurvePanel("Tone curves", curves)};
    return WritePlot(path, panels, error);
}
