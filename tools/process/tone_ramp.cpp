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
// The middle of a patch, of which the mean counts: dots of black and white or of a palette's
// colours make levels only together.
constexpr std::int32_t kFirstLine = 12;
constexpr std::int32_t kEndLine = 28;
constexpr std::size_t kFirstPixel = 8;
constexpr std::size_t kEndPixel = 24;
constexpr std::uint32_t kPixels = (kEndLine - kFirstLine) * (kEndPixel - kFirstPixel);

class CRampReader final : public CPictureReader {
  public:
    explicit CRampReader(int bits) {
        m_info.m_width = kPatchWidth * static_cast<std::int32_t>(kToneLevels);
        m_info.m_height = kRampLines;
        m_info.m_bitsPerPixel = bits;
    }

  private:
    void ReadLine(std::uint8_t* target) override {
        const std::size_t patch = LineBytes() / kToneLevels;
        for (std::size_t level = 0; level < kToneLevels; ++level, target += patch)
            std::memset(target, static_cast<int>(level), patch);
    }
};

// Adds up the middle of each patch.
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

    // Empty without all of the lines, or with lines of another width.
    std::vector<CToneCurves::Curve> Curves() const {
        std::vector<CToneCurves::Curve> curves;
        if (m_line < kEndLine || !IsRamp())
            return curves;
        curves.resize(IsIndexed() && IsGray(m_palette) ? 1 : 3);
        for (std::size_t c = 0; c < curves.size(); ++c)
            std::ranges::transform(m_sums[c], curves[c].begin(), [](std::uint32_t sum) {
                return static_cast<std::uint8_t>((sum + kPixels / 2) / kPixels);
            });
        return curves;
    }

  private:
    bool IsIndexed() const { return m_info.biBitCount != 24; }
    bool IsRamp() const { return m_info.biWidth == kPatchWidth * static_cast<LONG>(kToneLevels); }
    void TakeRows(std::span<const std::uint8_t> rows) {
        const auto stride = static_cast<std::size_t>(BitmapStride(m_info));
        for (; IsRamp() && rows.size() >= stride; rows = rows.subspan(stride), ++m_line) {
            if (m_line >= kFirstLine && m_line < kEndLine)
                AddRow(rows.data());
        }
    }
    void AddRow(const std::uint8_t* row) {
        for (std::size_t level = 0; level < kToneLevels; ++level) {
            for (std::size_t i = kFirstPixel; i < kEndPixel; ++i) {
                const RGBQUAD color = ColorAt(row, level * kPatchWidth + i);
                m_sums[0][level] += color.rgbRed;
                m_sums[1][level] += color.rgbGreen;
                m_sums[2][level] += color.rgbBlue;
            }
        }
    }
    RGBQUAD ColorAt(const std::uint8_t* row, std::size_t x) const {
        if (!IsIndexed())
            return {row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
        return m_palette[m_info.biBitCount == 1 ? row[x / 8] >> (7 - x % 8) & 1 : row[x]];
    }

    BITMAPINFOHEADER m_info = {};
    RGBQUAD m_palette[kToneLevels] = {};
    std::array<std::uint32_t, kToneLevels> m_sums[3] = {};
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
