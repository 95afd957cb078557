#include "stages/lut_stage.h"

#include <algorithm>
#include <limits>

#include "frame/fixed_point.h"
#include "frame/try_new.h"
#include "stages/lut_kernels.h"

namespace {

constexpr std::int32_t kFull = CQLLut::kFullSize;

}  // namespace

QLStatus CLutStage::OnBeforeOpen() {
    m_active = true;
    return QL_OK;
}

QLStatus CLutStage::NeedTables(int count, bool* made) {
    QLStatus status = QL_OK;
    for (int c = 0; c < count && status == QL_OK; ++c)
        status = NeedTable(static_cast<Channel>(c), made);
    return status;
}

QLStatus CLutStage::NeedTable(Channel channel, bool* made) {
    if (m_ownLut[channel])
        return QL_OK;
    m_ownLut[channel] = CQLLut::MakeFull();
    m_lut[channel] = m_ownLut[channel].get();
    if (!m_lut[channel])
        return QL_ERR_NO_MEMORY;
    if (made)
        *made = true;
    return QL_OK;
}

bool CLutStage::AreNeutral(int count) const {
    for (int c = 0; c < count; ++c) {
        for (std::int32_t i = 0; i < kFull; ++i) {
            if (m_ownLut[c]->At(i) != i)
                return false;
        }
    }
    return true;
}

void CLutStage::Splice(int count, std::int32_t center, std::int32_t width) {
    // 1/256 of a table of 65536 entries is 256 entries.
    const std::int64_t middle = std::int64_t{center} * 256;
    const std::int64_t half = std::int64_t{width} * 256 / 2;
    // The window may be anything. A start below the table still gives the blend its slope; what is
    // read and drawn stays inside the table.
    const std::int32_t low =
        Clamp(middle - half, std::numeric_limits<std::int32_t>::min(), kFull - 1);
    const std::int32_t high = Clamp(middle + half, 0, kFull - 1);
    for (int c = 0; c < count; ++c) {
        // The identity up to the window, then a line to what the table holds at its upper end. Each
        // table has its own value there, so channels part from one another only within the window.
        m_ownLut[c]->DrawSegment(0, 0, low, low, true);
        m_ownLut[c]->DrawSegment(low, low, high, m_ownLut[c]->At(high), true);
    }
}

QLStatus CLutStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    if (m_lutMode != kModeSingle && m_lutMode != kModePerChannel)
        return QL_ERR_BAD_ARGUMENT;
    if (m_joined) {
        MapJoint(samples, count);
        return QL_OK;
    }
    if (m_neutral || m_lent)
        return QL_OK;
    // Table pointers are fetched once a block and read without a check: all tables hold 65536
    // entries.
    if (m_lutMode == kModePerChannel && m_outFormat.IsInternalColor()) {
        if (m_lut[kRed] && m_lut[kGreen] && m_lut[kBlue]) {
            MapPixels(samples, count, m_lut[kRed]->Table(), m_lut[kGreen]->Table(),
                      m_lut[kBlue]->Table());
        }
    } else if (m_lut[kGray]) {
        // All 16-bit words of the lines, whatever their format makes of them.
        MapSamples(samples, BlockBytes(count) / sizeof(std::uint16_t), m_lut[kGray]->Table());
    }
    return QL_OK;
}

// ---- Tables of two stages in one read

// All stages of the chain open and hear of a format: one that has lent its tables does so, too.
void CLutStage::PartTables() {
    m_lent = false;
    m_joined = nullptr;
    m_joint.reset();
}

QLStatus CLutStage::Open() {
    PartTables();
    return CInPlaceStage::Open();
}

QLStatus CLutStage::OnFormatChanged() {
    PartTables();
    return CInPlaceStage::OnFormatChanged();
}

QLStatus CLutStage::OnAfterClose() {
    PartTables();
    return QL_OK;
}

const CQLLut* CLutStage::LineLut(std::size_t plane) const {
    const bool perChannel = m_lutMode == kModePerChannel && m_outFormat.IsInternalColor();
    return m_lut[perChannel ? plane : std::size_t{kGray}];
}

bool CLutStage::HasLineLuts() const {
    bool all = m_outFormat.IsInternal() && !m_neutral && IsActive();
    for (std::size_t plane = 0; plane < LinePlanes(); ++plane)
        all = all && LineLut(plane);
    return all;
}

void CLutStage::JoinTables() {
    CQLStage* stage = m_upstream;
    while (stage && !stage->IsActive())
        stage = stage->Upstream();
    auto* other = dynamic_cast<CLutStage*>(stage);
    if (!other || !other->EndsWithTables() || !other->HasLineLuts() || !HasLineLuts())
        return;
    m_joint = TryNewRaw<std::uint16_t>(LinePlanes() * kFull);
    if (!m_joint)
        return;
    m_joined = other;
    other->m_lent = true;
    m_jointOrigin = {};
}

CLutStage::Origin CLutStage::JointOrigin() const {
    Origin origin = {};
    for (std::size_t plane = 0; plane < LinePlanes(); ++plane) {
        const CQLLut* first = m_joined->LineLut(plane);
        const CQLLut* second = LineLut(plane);
        origin[plane] = {first, first->Edits()};
        origin[kMostPlanes + plane] = {second, second->Edits()};
    }
    return origin;
}

void CLutStage::BuildJoint() {
    for (std::size_t plane = 0; plane < LinePlanes(); ++plane) {
        std::uint16_t* joint = m_joint.get() + plane * kFull;
        std::copy_n(m_joined->LineLut(plane)->Table(), kFull, joint);
        MapSamples(joint, kFull, LineLut(plane)->Table());
    }
}

// Settings may change a table between two bands: the rest of the image has it.
void CLutStage::MapJoint(std::uint16_t* samples, std::size_t count) {
    const Origin origin = JointOrigin();
    if (origin != m_jointOrigin) {
        m_jointOrigin = origin;
        BuildJoint();
    }
    const std::uint16_t* joint = m_joint.get();
    if (m_outFormat.IsInternalColor())
        MapPixels(samples, count, joint, joint + kFull, joint + 2 * kFull);
    else
        MapSamples(samples, count, joint);
}

const CQLLut* CLutStage::PlaneLut(int plane) const {
    return m_lut[m_lutMode == kModeSingle ? int{kGray} : plane];
}

QLStatus CLutStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CInPlaceStage::TransformColor(query);
    if (answer == 0 || m_bypass)
        return answer;
    // A gray image's colours have no channel of their own to go through.
    if (m_lutMode == kModePerChannel && m_outFormat.m_samplesPerPixel != 3)
        return answer;
    for (int c = 0; c < 3; ++c) {
        if (const CQLLut* lut = PlaneLut(c))
            query->Samples()[c] = lut->At(query->Samples()[c]);
    }
    return answer;
}

template <typename Map>
void CLutStage::MapPlanes(QLColorTable* table, const Map& map) const {
    // The count comes from whoever sends the table.
    const int count = table ? std::clamp<int>(table->m_count, 0, 256) : 0;
    for (int plane = 0; plane < 3; ++plane) {
        const CQLLut* lut = PlaneLut(plane);
        for (int i = 0; lut && i < count; ++i)
            table->m_planes[plane][i] = map(*lut, table->m_planes[plane][i]);
    }
}

QLStatus CLutStage::MapColorTable(QLColorTable* table) {
    if (!m_downstream)
        return QL_OK;
    MapPlanes(table, [](const CQLLut& lut, std::uint16_t value) { return lut.At(value); });
    return m_downstream->MapColorTable(table);
}

QLStatus CLutStage::MapColorTableBack(QLColorTable* table) {
    if (!m_downstream)
        return QL_OK;
    const QLStatus status = m_downstream->MapColorTableBack(table);
    if (status == QL_OK) {
        MapPlanes(table, [](const CQLLut& lut, std::uint16_t value) {
            return static_cast<std::uint16_t>(lut.InverseLookup(value));
        });
    }
    return status;
}
