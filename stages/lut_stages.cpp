#include "stages/lut_stages.h"

#include <algorithm>
#include <initializer_list>
#include <limits>

#include "frame/fixed_point.h"
#include "stages/lut_kernels.h"

namespace {

constexpr std::int32_t kFull = CQLLut::kFullSize;
constexpr double kEncodingGamma = 1.8;
constexpr double kEncodingMaxSlope = 16.0;
// Any pull attribute above this sets the limit; up to it the pull runs with the limit it has.
constexpr std::int32_t kLargestPlainPull = 10;

// Fields that lie side by side, set by ids that follow one another.
struct FieldGroup {
    std::int32_t firstId;
    std::int32_t count;
    double* fields;
};

// The field that an id sets; null when it is none of these.
double* FieldOf(std::int32_t id, std::initializer_list<FieldGroup> groups) {
    for (const FieldGroup& group : groups) {
        if (id >= group.firstId && id < group.firstId + group.count)
            return group.fields + (id - group.firstId);
    }
    return nullptr;
}

// Stores a value; true when it is another than before.
template <typename T>
bool Store(T* field, T value) {
    const bool changed = value != *field;
    *field = value;
    return changed;
}

}  // namespace

// ---- CLutStage

QLStatus CLutStage::OnBeforeOpen() {
    m_active = true;
    return QL_OK;
}

QLStatus CLutStage::NeedTables(int count, bool* made) {
    for (int c = 0; c < count; ++c) {
        if (m_lut[c])
            continue;
        m_lut[c] = CQLLut::MakeFull();
        if (!m_lut[c])
            return QL_ERR_NO_MEMORY;
        if (made)
            *made = true;
    }
    return QL_OK;
}

void CLutStage::Splice(int count, std::int32_t center, std::int32_t width) {
    const std::int64_t middle = std::int64_t{center} * 256;
    const std::int64_t half = std::int64_t{width} * 256 / 2;
    // The window may be anything. A start below the table still gives the blend its slope; what is
    // read and drawn stays inside the table.
    const std::int32_t low =
        Clamp(middle - half, std::numeric_limits<std::int32_t>::min(), kFull - 1);
    const std::int32_t high = Clamp(middle + half, 0, kFull - 1);
    for (int c = 0; c < count; ++c) {
        m_lut[c]->DrawSegment(0, 0, low, low, true);
        m_lut[c]->DrawSegment(low, low, high, m_lut[c]->At(high), true);
    }
}

QLStatus CLutStage::ApplyLuts(std::int32_t lines, CQLLineBuffer* buffer) const {
    if (!buffer || !m_active || m_bypass)
        return QL_OK;
    if (m_lutMode != kModeSingle && m_lutMode != kModePerChannel)
        return QL_ERR_BAD_ARGUMENT;
    if (!buffer->Data() || lines < 1)
        return QL_OK;
    const std::size_t words =
        static_cast<std::size_t>(m_outFormat.m_bytesPerLine) * static_cast<std::size_t>(lines) / 2;
    if (m_lutMode == kModePerChannel && m_outFormat.IsInternalColor()) {
        if (m_lut[kRed] && m_lut[kGreen] && m_lut[kBlue]) {
            MapPixels(buffer->Samples(), words / 3, m_lut[kRed]->Table(), m_lut[kGreen]->Table(),
                      m_lut[kBlue]->Table());
        }
    } else if (m_lut[kGray]) {
        MapSamples(buffer->Samples(), words, m_lut[kGray]->Table());
    }
    return QL_OK;
}

QLStatus CLutStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    return ApplyLuts(*lines, buffer);
}

const CQLLut* CLutStage::PlaneLut(int plane) const {
    return m_lut[m_lutMode == kModeSingle ? int{kGray} : plane].get();
}

QLStatus CLutStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CQLFilterStage::TransformColor(query);
    if (answer == 0 || m_bypass)
        return answer;
    if (m_lutMode == kModePerChannel && m_outFormat.m_samplesPerPixel != 3)
        return answer;
    for (int c = 0; c < 3; ++c) {
        if (const CQLLut* lut = PlaneLut(c))
            query->Samples()[c] = lut->At(query->Samples()[c]);
    }
    return answer;
}

QLStatus CLutStage::MapColorTable(QLColorTable* table) {
    if (!m_downstream)
        return QL_OK;
    const int count = table ? std::clamp<int>(table->m_count, 0, 256) : 0;
    for (int plane = 0; plane < 3; ++plane) {
        const CQLLut* lut = PlaneLut(plane);
        for (int i = 0; lut && i < count; ++i)
            table->m_planes[plane][i] = lut->At(table->m_planes[plane][i]);
    }
    return m_downstream->MapColorTable(table);
}

QLStatus CLutStage::MapColorTableBack(QLColorTable* table) {
    if (!m_downstream)
        return QL_OK;
    const QLStatus status = m_downstream->MapColorTableBack(table);
    if (status != QL_OK)
        return status;
    const int count = table ? std::clamp<int>(table->m_count, 0, 256) : 0;
    for (int plane = 0; plane < 3; ++plane) {
        const CQLLut* lut = PlaneLut(plane);
        for (int i = 0; lut && i < count; ++i) {
            table->m_planes[plane][i] =
                static_cast<std::uint16_t>(lut->InverseLookup(table->m_planes[plane][i]));
        }
    }
    return QL_OK;
}

// ---- CEncodingCurveStage

CEncodingCurveStage::CEncodingCurveStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lut[kGray] = CQLLut::MakeFull();
    BuildCurve();
    RegisterProvider(QL_ATTR_ENCODING_LUT);
    SubscribeAndSync(QL_ATTR_CURVE_SELECT);
}

void CEncodingCurveStage::BuildCurve() {
    if (!m_lut[kGray])
        return;
    if (m_gammaMode)
        m_lut[kGray]->BuildGammaLimited(kEncodingGamma, kEncodingMaxSlope);
    else
        m_lut[kGray]->BuildSrgb();
}

std::uint64_t CEncodingCurveStage::GetAttrib(std::int32_t id) {
    return id == QL_ATTR_ENCODING_LUT ? PointerWord(m_lut[kGray].get()) : 0;
}

void CEncodingCurveStage::OnAttribNotify(std::int32_t id) {
    if (id != QL_ATTR_CURVE_SELECT)
        return;
    const bool gammaMode = GetValue(QL_ATTR_CURVE_SELECT) != 0;
    if (gammaMode == m_gammaMode)
        return;
    m_gammaMode = gammaMode;
    BuildCurve();
    Notify(QL_ATTR_ENCODING_LUT);
}

// ---- CToneLevelsStage

CToneLevelsStage::CToneLevelsStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
    for (std::int32_t id = QL_ATTR_TONE_GAMMA_R; id <= QL_ATTR_TONE_BLACK_B; ++id)
        SubscribeAndSync(id);
    for (const std::int32_t id :
         {QL_ATTR_GRAY_TONE_BLACK, QL_ATTR_GRAY_TONE_GAIN, QL_ATTR_GRAY_TONE_GAMMA,
          QL_ATTR_TONE_WINDOW_LOW, QL_ATTR_TONE_WINDOW_HIGH})
        SubscribeAndSync(id);
}

void CToneLevelsStage::OnAttribNotify(std::int32_t id) {
    if (double* field = FieldOf(id, {{QL_ATTR_TONE_GAMMA_R, 3, m_gamma},
                                     {QL_ATTR_TONE_GAIN_R, 3, m_gain},
                                     {QL_ATTR_TONE_BLACK_R, 3, m_black},
                                     {QL_ATTR_GRAY_TONE_BLACK, 1, &m_grayBlack},
                                     {QL_ATTR_GRAY_TONE_GAIN, 1, &m_grayGain},
                                     {QL_ATTR_GRAY_TONE_GAMMA, 1, &m_grayGamma}}))
        m_dirty |= Store(field, GetFixed(id));
    else if (id == QL_ATTR_TONE_WINDOW_LOW)
        m_dirty |= Store(&m_spliceCenter, GetInteger(id));
    else if (id == QL_ATTR_TONE_WINDOW_HIGH)
        m_dirty |= Store(&m_spliceWidth, GetInteger(id));
}

QLStatus CToneLevelsStage::OnBeforeOpen() {
    const QLStatus status = NeedTables(kChannels);
    if (status != QL_OK)
        return status;
    if (m_dirty)
        RebuildLevels();
    // The gains and the gray curve take no part in this: neutral gamma and black bypass the stage.
    const bool neutral = std::all_of(m_gamma, m_gamma + 3, [](double g) { return g == 1.0; }) &&
                         std::all_of(m_black, m_black + 3, [](double b) { return b == 0.0; });
    m_active = !neutral;
    m_bypass = neutral;
    return QL_OK;
}

QLStatus CToneLevelsStage::OnAfterOpen() {
    if (!m_outFormat.IsInternal() && m_outFormat.m_samplesPerPixel != 3)
        m_bypass = true;
    return QL_OK;
}

void CToneLevelsStage::RebuildLevels() {
    const double black[kChannels] = {m_black[0], m_black[1], m_black[2], m_grayBlack};
    const double gamma[kChannels] = {m_gamma[0], m_gamma[1], m_gamma[2], m_grayGamma};
    const double gain[kChannels] = {m_gain[0], m_gain[1], m_gain[2], m_grayGain};
    for (int c = 0; c < kChannels; ++c) {
        m_lut[c]->SetIdentity();
        m_lut[c]->RemapValues(TruncToU16(black[c] * 65535.0 / 255.0), kSampleMax, 0, kSampleMax);
        m_lut[c]->ApplyGamma(gamma[c]);
        m_lut[c]->Scale(gain[c]);
    }
    m_dirty = false;
    Splice(kChannels, m_spliceCenter, m_spliceWidth);
}

// ---- CChannelCurveStage

CChannelCurveStage::CChannelCurveStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
    for (std::int32_t id = QL_ATTR_NEG_CURVE_0; id <= QL_ATTR_NEG_CURVE_8; ++id)
        SubscribeAndSync(id);
}

void CChannelCurveStage::OnAttribNotify(std::int32_t id) {
    double* field = FieldOf(id, {{QL_ATTR_NEG_CURVE_0, 3, m_black},
                                 {QL_ATTR_NEG_CURVE_3, 3, m_gain},
                                 {QL_ATTR_NEG_CURVE_6, 3, m_gamma}});
    if (!field)
        return;
    *field = GetFixed(id);
    m_dirty = true;
}

QLStatus CChannelCurveStage::OnBeforeOpen() {
    m_active = true;
    m_bypass = false;
    const QLStatus status = NeedTables(kGray, &m_dirty);
    if (status == QL_OK && m_dirty)
        RebuildCurves();
    return status;
}

void CChannelCurveStage::RebuildCurves() {
    const std::unique_ptr<CQLLut> gamma = CQLLut::MakeFull(CQLLut::kFine);
    if (!gamma)
        return;
    // Black, gain, gamma: what the gain clips stays clipped.
    for (int c = 0; c < 3; ++c) {
        m_lut[c]->SetIdentity();
        m_lut[c]->RemapValues(TruncToU16(m_black[c]), kSampleMax, 0, kSampleMax);
        m_lut[c]->Scale(m_gain[c]);
        gamma->BuildGamma(m_gamma[c]);
        m_lut[c]->ComposeWith(*gamma);
    }
    m_dirty = false;
}

// ---- CDarkNeutralStage

CDarkNeutralStage::CDarkNeutralStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
    for (std::int32_t id = QL_ATTR_SLIDE_CURVE_0; id <= QL_ATTR_SLIDE_CURVE_8; ++id)
        SubscribeAndSync(id);
    for (const std::int32_t id :
         {QL_ATTR_SLIDE_TENTH, QL_ATTR_DARK_WINDOW_LOW, QL_ATTR_DARK_WINDOW_HIGH})
        SubscribeAndSync(id);
}

void CDarkNeutralStage::OnAttribNotify(std::int32_t id) {
    if (double* field = FieldOf(id, {{QL_ATTR_SLIDE_CURVE_0, 3, m_black},
                                     {QL_ATTR_SLIDE_CURVE_3, 3, m_gain},
                                     {QL_ATTR_SLIDE_CURVE_6, 3, m_gamma},
                                     {QL_ATTR_SLIDE_TENTH, 1, &m_blackOffset}}))
        m_dirty |= Store(field, GetFixed(id));
    else if (id == QL_ATTR_DARK_WINDOW_LOW)
        m_dirty |= Store(&m_spliceCenter, GetInteger(id));
    else if (id == QL_ATTR_DARK_WINDOW_HIGH)
        m_dirty |= Store(&m_spliceWidth, GetInteger(id));
}

QLStatus CDarkNeutralStage::OnAfterOpen() {
    const QLStatus status = NeedTables(kGray, &m_dirty);
    if (status != QL_OK)
        return status;
    if (m_dirty)
        RebuildDark();
    const std::int32_t pull = GetInteger(QL_ATTR_DARK_PULL);
    m_neutralOn = pull != 0;
    if (pull > kLargestPlainPull)
        m_darkLimit = kSampleMax / pull;
    m_active = m_outFormat.IsInternalColor();
    m_bypass = !m_active;
    return QL_OK;
}

void CDarkNeutralStage::RebuildDark() {
    const std::unique_ptr<CQLLut> gamma = CQLLut::MakeFull();
    if (!gamma)
        return;
    for (int c = 0; c < 3; ++c) {
        m_lut[c]->BuildClipRamp(RoundToI32(m_black[c] + m_blackOffset), kSampleMax);
        gamma->BuildGamma(m_gamma[c]);
        m_lut[c]->ComposeWith(*gamma);
        m_lut[c]->Scale(m_gain[c]);
    }
    Splice(kGray, m_spliceCenter, m_spliceWidth);
    m_dirty = false;
}

QLStatus CDarkNeutralStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    const QLStatus status = ApplyLuts(*lines, buffer);
    if (status != QL_OK || m_neutralHold || !m_neutralOn || !m_active || !buffer ||
        !buffer->Data() || *lines < 1)
        return status;
    PullDarkPixels(buffer->Samples(),
                   static_cast<std::size_t>(m_outFormat.m_width) * static_cast<std::size_t>(*lines),
                   m_darkLimit);
    return QL_OK;
}
