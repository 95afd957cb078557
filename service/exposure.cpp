#include "service/exposure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "engine/engine.h"
#include "frame/output_type.h"
#include "platform/bitmap_headers.h"
#include "service/item_engine.h"
#include "service/scan_settings.h"

namespace {

// ---- The image

// A bitmap as the engine's input, which is read as far as the engine asks. It lives on its owner's
// stack: references to it are not counted.
class CRowStream final : public CQLInputStream {
  public:
    CRowStream(const BITMAPINFOHEADER& info, const RowSource& rows)
        : m_rows(rows), m_row(static_cast<std::size_t>(BitmapStride(info))) {
        BITMAPINFOHEADER header =
            MakeInfoHeader(info.biWidth, -std::abs(info.biHeight), info.biBitCount);
        header.biXPelsPerMeter = info.biXPelsPerMeter;
        header.biYPelsPerMeter = info.biYPelsPerMeter;
        const BITMAPFILEHEADER file = MakeFileHeader(header, BitmapImageBytes(header));
        std::vector<RGBQUAD> grays(header.biClrUsed);
        FillGrayRamp(grays);
        Append(&file, sizeof(file));
        Append(&header, sizeof(header));
        Append(grays.data(), grays.size() * sizeof(RGBQUAD));
    }
    bool HasFailed() const { return m_hasFailed; }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        const bool known = iid == IID_IUnknown || iid == IID_IStream;
        *object = known ? static_cast<IStream*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT Read(void* target, ULONG bytes, ULONG* read) override {
        auto* to = static_cast<BYTE*>(target);
        ULONG left = bytes;
        while (left > 0 && (m_at < m_bytes.size() || Refill())) {
            const auto count =
                static_cast<ULONG>(std::min<std::size_t>(left, m_bytes.size() - m_at));
            std::memcpy(to, m_bytes.data() + m_at, count);
            m_at += count;
            to += count;
            left -= count;
        }
        if (read)
            *read = bytes - left;
        return S_OK;
    }

  private:
    void Append(const void* bytes, std::size_t count) {
        const auto* from = static_cast<const BYTE*>(bytes);
        m_bytes.insert(m_bytes.end(), from, from + count);
    }
    bool Refill() {
        m_hasFailed = m_hasFailed || !m_rows(m_row.data());
        m_bytes = m_row;
        m_at = 0;
        return !m_hasFailed;
    }

    const RowSource& m_rows;
    std::vector<BYTE> m_row;
    std::vector<BYTE> m_bytes;  // headers, then a row at a time
    std::size_t m_at = 0;       // of what is read next
    bool m_hasFailed = false;
};

// The page as the device delivered it; at the lowest resolution it fits into memory.
class CPreview final : public IScanSink {
  public:
    bool BeginPage(const ScanPage& page) override {
        m_info = page.info;
        m_stride = page.stride;
        return true;
    }
    bool Rows(const BYTE* rows, LONG count) override {
        m_rows.insert(m_rows.end(), rows, rows + static_cast<std::size_t>(count) * m_stride);
        return true;
    }
    bool EndPage(const ScanPage&) override { return true; }

    // Of the lines that came.
    BITMAPINFOHEADER Info() const {
        BITMAPINFOHEADER info = m_info;
        info.biHeight = m_stride == 0 ? 0 : static_cast<LONG>(m_rows.size() / m_stride);
        return info;
    }
    // From the first row on, as often as it is asked for.
    RowSource Source() const {
        return [this, line = std::size_t{0}](BYTE* row) mutable {
            if ((line + 1) * m_stride > m_rows.size())
                return false;
            std::memcpy(row, Row(line++), m_stride);
            return true;
        };
    }
    const BYTE* Row(std::size_t index) const { return m_rows.data() + index * m_stride; }

  private:
    BITMAPINFOHEADER m_info = {};
    std::size_t m_stride = 0;
    std::vector<BYTE> m_rows;
};

// For what the driver makes of the preview.
class CNowhere final : public IScanSink {
  public:
    bool BeginPage(const ScanPage&) override { return true; }
    bool Rows(const BYTE*, LONG) override { return true; }
    bool EndPage(const ScanPage&) override { return true; }
};

// ---- The settings of the preview

// Writes of which each finds the valid values that it needs behind the one before it.
struct PreviewSettings {
    std::vector<PropertyWrite> resolution;
    std::vector<PropertyWrite> window;
    std::vector<PropertyWrite> delivery;
};

PreviewSettings SettingsOf(const ItemState& item, bool isPreview) {
    PreviewSettings settings;
    for (const ScanAxis& axis : kScanAxes) {
        const LONG present = CDeviceProperties::Number(item, axis.resolution).value_or(0);
        const LONG lowest = LowestResolution(item, axis.resolution);
        if (present < 1 || lowest < 1)
            continue;
        const auto scaled = [&](PROPID id) {
            const LONG pixels = CDeviceProperties::Number(item, id).value_or(0);
            return isPreview ? static_cast<LONG>(std::int64_t{pixels} * lowest / present) : pixels;
        };
        settings.resolution.push_back({axis.resolution, isPreview ? lowest : present});
        settings.window.push_back({axis.position, scaled(axis.position)});
        settings.window.push_back({axis.extent, std::max<LONG>(scaled(axis.extent), 1)});
    }
    // Nobody looks at the picture: it goes into no file, and isn't turned.
    for (const auto& [id, plain] :
         {std::pair{PROPID{WIA_IPA_TYMED}, TYMED_CALLBACK}, {PROPID{QL_PROP_ROTATION}, LONG{0}}}) {
        const LONG present = CDeviceProperties::Number(item, id).value_or(plain);
        if (present != plain)
            settings.delivery.push_back({id, isPreview ? plain : present});
    }
    return settings;
}

// Whoever restores goes on behind a failure. The first one is told.
ScanStatus SetForPreview(CScanDevice& device, const CDeviceProperties& before, bool isPreview) {
    const std::string& image = before.Image().item.fullName;
    const std::optional<LONG> preview = CDeviceProperties::Number(before.Root(), WIA_DPS_PREVIEW);
    std::vector<PropertyWrite> kind;
    if (preview)
        kind.push_back({WIA_DPS_PREVIEW, isPreview ? 1 : *preview});
    const PreviewSettings settings = SettingsOf(before.Image(), isPreview);
    const std::pair<const std::string&, const std::vector<PropertyWrite>&> groups[] = {
        {before.Root().item.fullName, kind},
        {image, settings.delivery},
        {image, settings.resolution},
        {image, settings.window}};
    ScanStatus status;
    for (const auto& [item, writes] : groups) {
        if (writes.empty() || (isPreview && !status.Ok()))
            continue;
        const ScanStatus written = device.Write(item, writes);
        if (status.Ok())
            status = written;
    }
    return status;
}

// The settings are put back whatever came of the scan; the first failure is told.
ScanStatus ScanPreview(CScanDevice& device, const CDeviceProperties& before,
                       const std::atomic<bool>* cancel, CPreview& preview) {
    ScanStatus status = SetForPreview(device, before, true);
    if (!status.Ok()) {
        // Nobody has asked for these values: why they can't be had is enough.
        status.text = ResultText(status.code);
    } else {
        CNowhere nowhere;
        ScanOptions options;
        options.pages = 1;
        options.cancel = cancel;
        options.input = &preview;
        status = device.Scan(before.Image().item.fullName, options, nowhere);
    }
    const ScanStatus restored = SetForPreview(device, before, false);
    return status.Ok() && !restored.Ok() ? restored : status;
}

// ---- The analysis

// In the engine and in the item.
constexpr std::int32_t kLevels[] = {QL_ATTR_AUTO_WHITE, QL_ATTR_AUTO_MID, QL_ATTR_AUTO_BLACK};

// Items and engine use the same numbers for the types of data.
bool CanBeAnalysed(const CDeviceProperties& properties, const AutoWish& wish) {
    const auto type = CDeviceProperties::Number(properties.Image(), WIA_IPA_DATATYPE);
    return type &&
           ((wish.WantsTone() && HasTones(*type)) || (wish.WantsColor() && HasColors(*type)));
}

// With an engine of its own: what is found depends on nothing that was found before.
ScanStatus AnalysePreview(const CDeviceProperties& settings, const CPreview& preview,
                          const AutoWish& wish, std::optional<FoundExposure>& found) {
    CQLEngine engine;
    ScanStatus status = SetUpEngine(settings, engine);
    if (status.Ok())
        found = AnalyseImage(engine, preview.Info(), preview.Source(), wish);
    return status;
}

// The pass counts colours besides, if that was asked for. Which way up the image is says nothing of
// its tones. False when a row couldn't be had.
bool RunAnalysis(CQLEngine& engine, const BITMAPINFOHEADER& info, const RowSource& rows) {
    CRowStream stream(info, rows);
    engine.PutRotationOnPath(false);
    engine.SetInputStream(&stream);
    engine.Start();
    const bool analysed = engine.FireAnalyse() == S_OK;
    engine.Stop();
    return analysed && !stream.HasFailed();
}

// The exposure variant goes by a scale and by points of its own, and the scan to come by the plain
// ones. Of paper, a level of shadow spans a tenth of the scale there and a thirtieth here. Colour
// is balanced there at both ends too, for which an item has no properties, and the point of the
// midtones alone is a part of that whole: here the plain analysis's counts, which has no other.
void MeetProperties(bool isPaper, const std::optional<FoundExposure>& plain,
                    FoundExposure& exposed) {
    constexpr LONG kShadowRatio = 30 / 10;
    constexpr LONG kLowest = -100;
    if (isPaper && exposed.shadow < 0)
        exposed.shadow = std::max(exposed.shadow * kShadowRatio, kLowest);
    exposed.hasColor = plain && plain->hasColor;
    if (exposed.hasColor) {
        exposed.hueX = plain->hueX;
        exposed.hueY = plain->hueY;
    }
}

// Light of one level all over says nothing: neither what is white nor what is black.
bool IsUniform(const CPreview& preview) {
    const BITMAPINFOHEADER info = preview.Info();
    const std::size_t sampleBytes = info.biBitCount / 8;
    const std::size_t lineBytes = static_cast<std::size_t>(info.biWidth) * sampleBytes;
    for (LONG y = 0; y < info.biHeight; ++y) {
        const BYTE* row = preview.Row(static_cast<std::size_t>(y));
        for (std::size_t i = 0; i < lineBytes; ++i) {
            if (row[i] != preview.Row(0)[i % sampleBytes])
                return false;
        }
    }
    return true;
}

}  // namespace

std::vector<PropertyWrite> FoundExposure::Writes() const {
    constexpr LONG kByLevels = 1;
    std::vector<PropertyWrite> writes;
    if (hasTone)
        writes = {{QL_PROP_EXPOSURE_METHOD, kByLevels},
                  {QL_PROP_HIGHLIGHT_LEVEL, highlight},
                  {QL_PROP_MIDTONE_LEVEL, midtone},
                  {QL_PROP_SHADOW_LEVEL, shadow}};
    if (hasColor) {
        writes.push_back({QL_PROP_HUE_X, hueX});
        writes.push_back({QL_PROP_HUE_Y, hueY});
    }
    return writes;
}

// The pass looks at tone in any case, and at colour where the result has some.
std::optional<FoundExposure> AnalyseImage(CQLEngine& engine, const BITMAPINFOHEADER& info,
                                          const RowSource& rows, const AutoWish& wish) {
    const std::int32_t type = engine.GetInteger(QL_ATTR_OUTPUT_TYPE);
    FoundExposure found;
    found.hasTone = wish.WantsTone() && HasTones(type);
    found.hasColor = wish.WantsColor() && HasColors(type);
    const bool isKnown = info.biBitCount == 8 || info.biBitCount == 24;
    if (!isKnown || (!found.hasTone && !found.hasColor))
        return {};
    std::array<std::uint64_t, std::size(kLevels)> before;
    std::ranges::transform(kLevels, before.begin(), [&](auto id) { return engine.GetValue(id); });
    engine.SetValue(QL_ATTR_AUTO_TONE_ON, wish.WantsTone());
    engine.SetValue(QL_ATTR_AUTO_COLOR_ON, wish.WantsColor());
    // A write of 0 would also undo what was set before.
    if (wish.expose)
        engine.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, 1);
    const bool analysed = RunAnalysis(engine, info, rows);
    if (!found.hasTone) {
        for (std::size_t i = 0; i < before.size(); ++i)
            engine.SetValue(kLevels[i], before[i]);
    }
    if (!analysed)
        return {};
    found.highlight = engine.GetInteger(QL_ATTR_AUTO_WHITE);
    found.midtone = engine.GetInteger(QL_ATTR_AUTO_MID);
    found.shadow = engine.GetInteger(QL_ATTR_AUTO_BLACK);
    found.hueX = static_cast<LONG>(std::lround(engine.GetFixed(QL_ATTR_HUE_X) * 100));
    found.hueY = static_cast<LONG>(std::lround(engine.GetFixed(QL_ATTR_HUE_Y) * 100));
    return found;
}

ScanStatus FindExposure(CScanDevice& device, const AutoWish& wish, const std::atomic<bool>* cancel,
                        std::optional<FoundExposure>& found) {
    found.reset();
    CDeviceProperties before;
    ScanStatus status = CDeviceProperties::Read(device, before);
    if (!status.Ok() || !CanBeAnalysed(before, wish))
        return status;
    CPreview preview;
    status = ScanPreview(device, before, cancel, preview);
    if (status.code != S_OK || preview.Info().biHeight < 1 || IsUniform(preview))
        return status;
    status = AnalysePreview(before, preview, wish, found);
    if (!status.Ok() || !found || !wish.expose)
        return status;
    std::optional<FoundExposure> plain;
    status = AnalysePreview(before, preview, {.color = true}, plain);
    if (status.Ok())
        MeetProperties(CDeviceProperties::Number(before.Root(), QL_PROP_TMA_SELECT) != 1, plain,
                       *found);
    return status;
}

ScanStatus FindPalette(CScanDevice& device, const std::atomic<bool>* cancel,
                       std::optional<PaletteRecord>& found) {
    found.reset();
    CDeviceProperties before;
    ScanStatus status = CDeviceProperties::Read(device, before);
    if (!status.Ok())
        return status;
    CPreview preview;
    status = ScanPreview(device, before, cancel, preview);
    if (status.code != S_OK)
        return status;
    CQLEngine engine;
    status = SetUpEngine(before, engine);
    if (!status.Ok())
        return status;
    engine.SetValue(QL_ATTR_OUTPUT_TYPE, QL_OUTPUT_INDEXED);
    engine.Notify(QL_ATTR_PALETTE_COLLECT);
    // A page of one tone says nothing of exposure, and has its colour all the same.
    if (preview.Info().biHeight > 0)
        RunAnalysis(engine, preview.Info(), preview.Source());
    if (!engine.HasOwnPalette())
        return {E_FAIL, preview.Info().biBitCount == 8
                            ? "the preview is gray: it has no colours to make a palette of"
                            : "the colours of the preview can't be counted"};
    found = RecordOf(*WordPointer<const QLPaletteTable>(engine.GetValue(QL_ATTR_PALETTE_KIND_A)));
    return status;
}

ScanStatus ApplyExposure(CScanDevice& device, const FoundExposure& found,
                         std::span<const PROPID> kept) {
    CDeviceProperties properties;
    ScanStatus status = CDeviceProperties::Read(device, properties);
    std::vector<PropertyWrite> writes = found.Writes();
    std::erase_if(writes, [&](const PropertyWrite& write) {
        return std::ranges::find(kept, write.id) != kept.end();
    });
    if (status.Ok() && !writes.empty())
        status = device.Write(properties.Image().item.fullName, writes);
    return status;
}
