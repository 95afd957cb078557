// How the engine's settings and tables come from an item's properties, and go back there.

#include <algorithm>
#include <array>
#include <cstring>

#include "engine/engine.h"
#include "engine/private_properties.h"
#include "engine/streak_provider.h"
#include "frame/fixed_point.h"
#include "frame/output_type.h"
#include "frame/palette_table.h"
#include "frame/try_new.h"
#include "platform/wia.h"

namespace {

// Property values of one part map to attribute values of 128 parts.
constexpr std::int64_t kPropertyFull = 1000;
constexpr std::int64_t kAttributeFull = 128;

struct Setting {
    DWORD property;
    std::int32_t attribute;
};

// The levels have one place in the chain for paper and another on the adapter: there is no stage in
// which both would meet.
struct Level {
    DWORD property;
    std::int32_t paper;
    std::int32_t film;
};
constexpr Level kLevels[] = {
    {QL_PROP_HIGHLIGHT_LEVEL, QL_ATTR_HIGHLIGHT, QL_ATTR_AUTO_WHITE},
    {QL_PROP_SHADOW_LEVEL, QL_ATTR_SHADOW, QL_ATTR_AUTO_BLACK},
    {QL_PROP_MIDTONE_LEVEL, QL_ATTR_MIDTONE, QL_ATTR_AUTO_MID},
};
constexpr Setting kPublishedLevels[] = {
    {QL_PROP_HIGHLIGHT_LEVEL, QL_ATTR_HIGHLIGHT},
    {QL_PROP_MIDTONE_LEVEL, QL_ATTR_MIDTONE},
    {QL_PROP_SHADOW_LEVEL, QL_ATTR_SHADOW},
};

// The sliders, -1000 to 1000. Paper has attributes of its own for them. On the adapter they move
// levels of -100 to 100: a brighter midtone, and for more contrast a darker shadow.
struct Slider {
    struct Way {
        std::int32_t attribute;
        std::int64_t factor;
        std::int64_t divisor;
    };
    DWORD property;
    Way paper;
    Way film;
};
constexpr Slider kSliders[] = {
    {WIA_IPS_BRIGHTNESS,
     {QL_ATTR_BRIGHTNESS, kAttributeFull, kPropertyFull},
     {QL_ATTR_AUTO_MID, 1, 10}},
    {WIA_IPS_CONTRAST,
     {QL_ATTR_CONTRAST, kAttributeFull, kPropertyFull},
     {QL_ATTR_AUTO_BLACK, -1, 10}},
};

// Real numbers: property value / divisor.
constexpr struct {
    Setting setting;
    double divisor;
} kReals[] = {
    {{QL_PROP_GAMMA, QL_ATTR_GAMMA}, 1000.0},
    {{QL_PROP_HUE_X, QL_ATTR_HUE_X}, 100.0},
    {{QL_PROP_HUE_Y, QL_ATTR_HUE_Y}, 100.0},
    {{QL_PROP_SATURATION, QL_ATTR_SATURATION}, 1000.0},
};

// What a take-over of the tables announces, in this order.
constexpr struct {
    std::int32_t first;
    std::int32_t last;
} kAnnounced[] = {
    {QL_ATTR_DEVICE_MATRIX, QL_ATTR_DEVICE_MATRIX},
    // A slide chain may stand before the first take-over.
    {QL_ATTR_TMA_MATRIX, QL_ATTR_TMA_MATRIX},
    {QL_ATTR_NEG_CURVE_0, QL_ATTR_NEG_CURVE_8},
    {QL_ATTR_NEG_TENTH, QL_ATTR_NEG_TENTH},
    {QL_ATTR_DENSITY_MATRIX, QL_ATTR_POST_MATRIX},
    {QL_ATTR_SLIDE_CURVE_0, QL_ATTR_SLIDE_B_CURVE_8},
    {QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B},
    {QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B},
    {QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B},
    {QL_ATTR_GRAY_TONE_BLACK, QL_ATTR_GRAY_TONE_GAMMA},
    {QL_ATTR_GRAY_WEIGHTS, QL_ATTR_GRAY_WEIGHTS},
};

constexpr bool IsHue(std::int32_t attribute) {
    return attribute == QL_ATTR_HUE_X || attribute == QL_ATTR_HUE_Y;
}

bool ReadNumber(IQLItemProperties* properties, DWORD id, LONG* value) {
    return properties->ReadLong(id, value) == S_OK;
}

// Reads a binary record; the target stays as it is when the property can't be read.
template <typename Record>
void ReadRecord(IQLItemProperties* properties, DWORD id, Record* target) {
    Record record = {};
    // Into a copy first: a read that fails may have written half of it.
    if (properties->ReadBin(id, sizeof(record), reinterpret_cast<BYTE*>(&record)) == S_OK)
        std::memcpy(static_cast<void*>(target), static_cast<const void*>(&record), sizeof(record));
}

}  // namespace

HRESULT CQLEngine::ReadItemSettings(IQLItemProperties* properties) {
    if (!properties)
        return E_INVALIDARG;
    ReadOutputType(properties);
    LONG method = 0;
    const HRESULT hr = properties->ReadLong(QL_PROP_EXPOSURE_METHOD, &method);
    // An item without this property is none of an image: its other settings mean nothing here.
    if (hr != S_OK)
        return hr;
    ReadTone(properties, method != 0);
    // A change of the source replaces stages, and what was written above went to the old ones.
    if (ReadSource(properties))
        ReadTone(properties, method != 0);
    ReadTurn(properties);
    const HRESULT filtered = ReadFilters(properties);
    ReadRecord(properties, QL_PROP_DEFAULTS, &m_defaults);
    // Once in the engine's life: the tables belong to the device, not to a setting.
    if (!m_profileLoaded && m_defaults.m_valid == 1)
        TakeProfile(properties);
    return filtered;
}

HRESULT CQLEngine::ReadFilters(IQLItemProperties* properties) {
    LONG value = 0;
    if (ReadNumber(properties, QL_PROP_SMOOTHING, &value)) {
        SetValue(QL_ATTR_NOISE_SMOOTH_ON, value >= 1);
        SetValue(QL_ATTR_SMOOTH_ON, value >= 2);
    }
    LONG mode = 0;
    LONG detail = 0;
    if (!ReadNumber(properties, QL_PROP_STREAKS, &mode))
        return S_OK;
    ReadNumber(properties, QL_PROP_STREAK_DETAIL, &detail);
    // An item that asks for nothing leaves the attributes without a provider.
    if (mode != 0 && !ProvideStreaks())
        return E_OUTOFMEMORY;
    if (m_streaks)
        m_streaks->Choose(mode, detail);
    return S_OK;
}

// Items and engine use the same numbers for the types of data. Colour with a palette is a type of
// the engine's alone.
void CQLEngine::ReadOutputType(IQLItemProperties* properties) {
    LONG type = 0;
    if (!ReadNumber(properties, WIA_IPA_DATATYPE, &type) || type < WIA_DATA_THRESHOLD ||
        type > WIA_DATA_COLOR)
        return;
    LONG palette = 0;
    if (type != WIA_DATA_COLOR || !ReadNumber(properties, QL_PROP_PALETTE, &palette) ||
        palette == 0) {
        SetValue(QL_ATTR_OUTPUT_TYPE, IntegerWord(type));
        return;
    }
    if (palette == QL_PALETTE_USER)
        ReadPaletteColors(properties);
    SetValue(QL_ATTR_OUTPUT_TYPE, QL_OUTPUT_INDEXED);
    SetValue(QL_ATTR_PALETTE_KIND, IntegerWord(palette));
}

// Colours that can't be had leave those that stand.
void CQLEngine::ReadPaletteColors(IQLItemProperties* properties) {
    PaletteRecord record = {};
    ReadRecord(properties, QL_PROP_PALETTE_COLORS, &record);
    const auto table = TryNew<QLPaletteTable>();
    if (!table || record.m_count == 0)
        return;
    InitIdentity(table.get());
    const std::uint32_t count = std::min<std::uint32_t>(record.m_count, std::size(record.m_colors));
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint8_t* rgb = record.m_colors[i];
        AddColor(table.get(), rgb[0], rgb[1], rgb[2]);
    }
    SetValue(QL_ATTR_PALETTE_USER, PointerWord(table.get()));
}

void CQLEngine::ReadTone(IQLItemProperties* properties, bool levels) {
    if (levels)
        ReadLevels(properties);
    else
        ReadSliders(properties);
    LONG value = 0;
    // Each write holds the colour point's length at 1: only from the middle a pair always ends at
    // the same point.
    for (const auto& real : kReals) {
        if (IsHue(real.setting.attribute) && ReadNumber(properties, real.setting.property, &value))
            SetFixed(real.setting.attribute, 0.0);
    }
    for (const auto& real : kReals) {
        if (ReadNumber(properties, real.setting.property, &value))
            SetFixed(real.setting.attribute, value / real.divisor);
    }
    if (ReadNumber(properties, QL_PROP_SHARPEN_LEVEL, &value))
        SetValue(QL_ATTR_SHARPEN_LEVEL, IntegerWord(value));
    ReadThreshold(properties);
}

void CQLEngine::ReadLevels(IQLItemProperties* properties) {
    const bool film = GetValue(QL_ATTR_TMA) != 0;
    LONG value = 0;
    for (const Level& level : kLevels) {
        if (ReadNumber(properties, level.property, &value))
            SetValue(film ? level.film : level.paper, IntegerWord(value));
    }
}

void CQLEngine::ReadSliders(IQLItemProperties* properties) {
    const bool film = GetValue(QL_ATTR_TMA) != 0;
    // The level that no slider moves: an item before may have set it.
    SetValue(film ? QL_ATTR_AUTO_WHITE : QL_ATTR_MIDTONE, 0);
    LONG value = 0;
    for (const Slider& slider : kSliders) {
        const Slider::Way& way = film ? slider.film : slider.paper;
        if (ReadNumber(properties, slider.property, &value)) {
            // Towards zero.
            const std::int64_t scaled = value * way.factor / way.divisor;
            SetValue(way.attribute, IntegerWord(static_cast<std::int32_t>(scaled)));
        }
    }
}

// Brightness moves the threshold of line art; without it the threshold property holds. Dithered
// images have their brightness already, and the threshold only divides black from white.
void CQLEngine::ReadThreshold(IQLItemProperties* properties) {
    const std::int32_t type = GetInteger(QL_ATTR_OUTPUT_TYPE);
    if (type != QL_OUTPUT_LINE_ART && type != QL_OUTPUT_HALFTONE)
        return;
    LONG value = 0;
    if (!ReadNumber(properties, WIA_IPS_BRIGHTNESS, &value))
        return;
    std::int64_t threshold = 0;
    if (value != 0 && type == QL_OUTPUT_LINE_ART) {
        // Brightness -1000 to 1000 becomes 65536 to 0: the brighter, the less is black.
        threshold = (kPropertyFull - value) * 65536 / 2000;
    } else {
        if (!ReadNumber(properties, WIA_IPS_THRESHOLD, &value))
            return;
        // 0 to 127 become the upper ends of 128 even parts of the 16-bit scale.
        threshold = (std::int64_t{value} + 1) * 512 - 1;
    }
    SetValue(QL_ATTR_THRESHOLD, IntegerWord(Clamp(threshold, 0, kSampleMax)));
}

// The mirror first: its change exchanges two of the angles.
void CQLEngine::ReadTurn(IQLItemProperties* properties) {
    LONG value = 0;
    if (ReadNumber(properties, QL_PROP_MIRROR, &value))
        SetValue(QL_ATTR_MIRROR, value == 1);
    if (ReadNumber(properties, QL_PROP_ROTATION, &value)) {
        SetValue(QL_ATTR_ROTATE_ANGLE, IntegerWord(value));
        PutRotationOnPath(value != 0);
    }
}

// The adapter goes before the kind of film: each change builds stages at once, and without the
// adapter there is no film to build for.
bool CQLEngine::ReadSource(IQLItemProperties* properties) {
    // Whether the original is a negative counts on the adapter only.
    const auto road = [this] {
        const bool tma = GetValue(QL_ATTR_TMA) != 0;
        return std::array{tma, tma && GetValue(QL_ATTR_NEGATIVE) != 0, m_useFeeder};
    };
    const auto before = road();
    LONG value = 0;
    if (ReadNumber(properties, QL_PROP_TMA_SELECT, &value))
        SetValue(QL_ATTR_TMA, value == 1);
    if (ReadNumber(properties, WIA_DPS_DOCUMENT_HANDLING_SELECT, &value))
        SetValue(QL_ATTR_ADF, value == FEEDER || value == DUPLEX);
    if (ReadNumber(properties, QL_PROP_TMA_METHOD, &value))
        SetValue(QL_ATTR_NEGATIVE, value == 1);
    return road() != before;
}

void CQLEngine::TakeProfile(IQLItemProperties* properties) {
    ReadRecord(properties, QL_PROP_FLATBED_MATRIX, &m_flatbedMatrix);
    ReadRecord(properties, QL_PROP_SLIDE_MATRIX, &m_tmaMatrix);
    ReadRecord(properties, QL_PROP_FEEDER_MATRIX, &m_feederMatrix);
    ReadRecord(properties, QL_PROP_DENSITY_MATRIX, &m_densityMatrix);
    ReadRecord(properties, QL_PROP_POST_MATRIX, &m_postMatrix);
    ReadRecord(properties, QL_PROP_FLATBED_COEFFS, &m_flatbedCoeffs);
    ReadRecord(properties, QL_PROP_FEEDER_COEFFS, &m_feederCoeffs);
    ReadRecord(properties, QL_PROP_SLIDE_COEFFS, &m_slideCoeffs);
    ReadRecord(properties, QL_PROP_SLIDE_COEFFS_B, &m_slideCoeffsB);
    ReadRecord(properties, QL_PROP_NEG_COEFFS, &m_negCoeffs);
    ReadRecord(properties, QL_PROP_GRAY, &m_grayCoeffs);
    // Stages read the numbers back one by one, and rebuild their tables at the next open.
    for (const auto& run : kAnnounced) {
        for (std::int32_t id = run.first; id <= run.last; ++id)
            Notify(id);
    }
    m_profileLoaded = true;
}

// The way in backwards, each number truncated.
HRESULT CQLEngine::PublishDefaults(IQLItemProperties* properties) {
    if (!properties)
        return E_INVALIDARG;
    for (const Slider& slider : kSliders) {
        const std::int64_t value =
            GetInteger(slider.paper.attribute) * kPropertyFull / kAttributeFull;
        properties->WriteLong(slider.property, static_cast<LONG>(value));
    }
    for (const Setting& setting : kPublishedLevels)
        properties->WriteLong(setting.property, GetInteger(setting.attribute));
    properties->WriteLong(QL_PROP_GAMMA, TruncToI32(GetFixed(QL_ATTR_GAMMA) * 1000.0));
    properties->WriteLong(QL_PROP_SATURATION, TruncToI32(GetFixed(QL_ATTR_SATURATION) * 1000.0));
    // Hue goes back in whole units only.
    properties->WriteLong(QL_PROP_HUE_X, TruncToI32(GetFixed(QL_ATTR_HUE_X)) * 100);
    properties->WriteLong(QL_PROP_HUE_Y, TruncToI32(GetFixed(QL_ATTR_HUE_Y)) * 100);
    properties->WriteLong(QL_PROP_SHARPEN_LEVEL, GetInteger(QL_ATTR_SHARPEN_LEVEL));
    properties->WriteLong(WIA_IPS_THRESHOLD, (GetInteger(QL_ATTR_THRESHOLD) + 1) / 512 - 1);
    return S_OK;
}
