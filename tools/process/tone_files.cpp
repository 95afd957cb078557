#include "tools/process/tone_files.h"

#include "engine/engine.h"
#include "frame/histogram.h"
#include "frame/output_type.h"
#include "platform/bitmap_headers.h"
#include "tools/plot/plot_file.h"
#include "tools/plot/tone_plots.h"

bool CToneFiles::Check(std::string* error) const {
    return (m_histogram.empty() || IsPlotFile(m_histogram, error)) &&
           (m_curves.empty() || IsPlotFile(m_curves, error));
}

bool CountPicture(const CPageSource& source, const std::function<bool()>& stopped,
                  CToneCounts* counts, std::string* error) {
    const std::unique_ptr<CPictureReader> reader = source.Open(error);
    if (!reader)
        return false;
    const CPictureInfo& info = reader->Info();
    const BITMAPINFOHEADER header =
        MakeInfoHeader(info.m_width, info.m_height, info.m_bitsPerPixel);
    CToneCounter counter;
    counter.Begin(header, {});
    std::vector<std::uint8_t> row(static_cast<std::size_t>(BitmapStride(header)));
    for (std::int32_t line = 0; line < info.m_height && !stopped(); ++line) {
        if (!reader->ReadLines(row.data(), 1)) {
            *error = reader->Error();
            return false;
        }
        counter.Add(row);
    }
    *counts = counter.Counts();
    return true;
}

CToneCounts PublishedCounts(CQLEngine& engine) {
    constexpr std::int32_t kTables[] = {QL_ATTR_HISTOGRAM_R, QL_ATTR_HISTOGRAM_G,
                                        QL_ATTR_HISTOGRAM_B};
    CToneCounts counts;
    const std::int32_t type = engine.GetInteger(QL_ATTR_OUTPUT_TYPE);
    if (type != QL_OUTPUT_GRAY && type != QL_OUTPUT_COLOR)
        return counts;
    for (const std::int32_t id : kTables) {
        const auto* bins = WordPointer<const std::uint32_t>(engine.GetValue(id));
        if (!bins)
            return {};
        counts.m_channels.push_back(FoldLevels({bins, CQLHistogram::kToneBins}));
        // The three tables of a gray picture are the same.
        if (type == QL_OUTPUT_GRAY)
            break;
    }
    return counts;
}

bool DrawHistograms(const std::string& path, bool isEncoded, const CToneCounts& input,
                    const CToneCounts& result, std::string* error) {
    const CPlotPanel panels[] = {
        HistogramPanel("Input",
                       isEncoded ? "level, 0 to 255 (encoded for screens)"
                                 : "light, 0 to 255 (linear, as the scanner measures it)",
                       input),
        HistogramPanel("Result", "level, 0 to 255 (encoded for screens)", result),
    };
    return WritePlot(path, panels, error);
}
