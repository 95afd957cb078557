#include "engine/chain_stages.h"

#include <algorithm>

#include "frame/output_type.h"
#include "frame/try_new.h"
#include "stages/auto_tone.h"
#include "stages/auto_tone_photo.h"
#include "stages/auto_tone_tma.h"
#include "stages/channel_curve.h"
#include "stages/channel_sharpen.h"
#include "stages/dark_neutral.h"
#include "stages/density_color.h"
#include "stages/destreak.h"
#include "stages/device_matrix.h"
#include "stages/encoded_input.h"
#include "stages/encoding_curve.h"
#include "stages/histogram_stage.h"
#include "stages/invert.h"
#include "stages/line_sharpen.h"
#include "stages/lut_sharpen.h"
#include "stages/mirror.h"
#include "stages/noise_smooth.h"
#include "stages/output_format.h"
#include "stages/palette.h"
#include "stages/range_clip.h"
#include "stages/rotate.h"
#include "stages/sharpen_switch.h"
#include "stages/smooth.h"
#include "stages/source_control.h"
#include "stages/threshold.h"
#include "stages/tma_matrix.h"
#include "stages/tone_levels.h"

namespace {

using S = CChainStages;
using Slot = S::Slot;

constexpr std::uint8_t kReflective = 1;
constexpr std::uint8_t kSlide = 2;
constexpr std::uint8_t kNegative = 4;
constexpr std::uint8_t kAll = kReflective | kSlide | kNegative;

constexpr bool kSameFormat = false;
constexpr bool kNewFormat = true;

template <typename Stage>
constexpr S::Row Class(Slot slot, const char* name, QLLineShape shape, std::int32_t window,
                       bool changesFormat, std::uint8_t variants, std::int32_t leastSide = 1) {
    S::Row row{slot, name, nullptr, nullptr, shape, window, changesFormat, leastSide, variants};
    row.m_make = [](QLAttribTree* tree) -> std::unique_ptr<CQLStage> {
        auto stage = TryNew<Stage>(tree);
        // One that lacks what it only takes when it is made would never be whole: the next build
        // makes another.
        if constexpr (requires { stage->IsComplete(); }) {
            if (stage && !stage->IsComplete())
                stage.reset();
        }
        return stage;
    };
    // Not every class has attributes of its own.
    if constexpr (requires { Stage::Rows(); })
        row.m_attribs = &Stage::Rows;
    return row;
}

// clang-format off

// Every slot: its class, what it does to lines, the lines around that count, whether it changes the
// format, and in which variants it lives. Where a variant brings several stages back, they are made
// in the order of this table.
constexpr S::Row kTable[] = {
    Class<CEncodedInputStage>(&S::m_encodedInput,   "CEncodedInputStage",  QLLineShape::NewLines, 1, kNewFormat,  kAll),
    Class<CLineSharpenStage>(&S::m_lineSharpen,     "CLineSharpenStage",   QLLineShape::NewLines, 1, kSameFormat, kAll),
    Class<CNoiseSmoothStage>(&S::m_noiseSmooth,     "CNoiseSmoothStage",   QLLineShape::InPlace,  3, kSameFormat, kAll),
    Class<CDestreakStage>(&S::m_destreak,           "CDestreakStage",      QLLineShape::InPlace,  5, kSameFormat, kAll),
    Class<CSmoothStage>(&S::m_smooth,               "CSmoothStage",        QLLineShape::InPlace,  3, kSameFormat, kAll),
    Class<CChannelSharpenStage>(&S::m_channelSharpen, "CChannelSharpenStage", QLLineShape::InPlace, 3, kSameFormat, kAll),
    Class<CSharpenSwitchStage>(&S::m_sharpenSwitch, "CSharpenSwitchStage", QLLineShape::PassesOn, 1, kSameFormat, kAll),
    Class<CLutSharpenStage>(&S::m_lutSharpen,       "CLutSharpenStage",    QLLineShape::InPlace,  3, kSameFormat, kAll),
    Class<CMirrorStage>(&S::m_mirror,               "CMirrorStage",        QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CRotateStage>(&S::m_rotate,               "CRotateStage",        QLLineShape::NewLines, 1, kSameFormat, kAll, QL_LEAST_TURNED_SIDE),
    Class<COutputFormatStage>(&S::m_outputFormat,   "COutputFormatStage",  QLLineShape::NewLines, 1, kNewFormat,  kAll),
    Class<CDeviceMatrixStage>(&S::m_deviceMatrix,   "CDeviceMatrixStage",  QLLineShape::InPlace,  1, kSameFormat, kReflective),
    Class<CToneLevelsStage>(&S::m_toneLevels,       "CToneLevelsStage",    QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CChannelCurveStage>(&S::m_channelCurve,   "CChannelCurveStage",  QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CAutoToneStage>(&S::m_autoToneNeg,        "CAutoToneStage",      QLLineShape::InPlace,  1, kSameFormat, kNegative),
    Class<CSaturationStage>(&S::m_saturation,       "CSaturationStage",    QLLineShape::InPlace,  1, kSameFormat, kNegative),
    Class<CDensityColorStage>(&S::m_densityColor,   "CDensityColorStage",  QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CDarkNeutralStage>(&S::m_darkNeutral,     "CDarkNeutralStage",   QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CAutoToneTmaStage>(&S::m_autoToneSlide,   "CAutoToneTmaStage",   QLLineShape::InPlace,  1, kSameFormat, kSlide),
    Class<CTmaMatrixStage>(&S::m_tmaMatrix,         "CTmaMatrixStage",     QLLineShape::InPlace,  1, kSameFormat, kSlide),
    Class<CAutoTonePhotoStage>(&S::m_autoTonePhoto, "CAutoTonePhotoStage", QLLineShape::InPlace,  1, kSameFormat, kReflective),
    Class<CEncodingCurveStage>(&S::m_encodingCurve, "CEncodingCurveStage", QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CHistogramStage>(&S::m_histogram,         "CHistogramStage",     QLLineShape::PassesOn, 1, kSameFormat, kAll),
    Class<CSourceControlStage>(&S::m_sourceControl, "CSourceControlStage", QLLineShape::PassesOn, 1, kSameFormat, kAll),
    Class<CRangeClipStage>(&S::m_rangeClip,         "CRangeClipStage",     QLLineShape::InPlace,  1, kSameFormat, kAll),
    Class<CThresholdStage>(&S::m_threshold,         "CThresholdStage",     QLLineShape::NewLines, 1, kNewFormat,  kAll),
    Class<CPaletteStage>(&S::m_palette,             "CPaletteStage",       QLLineShape::NewLines, 1, kNewFormat,  kAll),
    Class<CInvertStage>(&S::m_invert,               "CInvertStage",        QLLineShape::InPlace,  1, kSameFormat, kAll),
};

// Not the order of the data: it is the order in which they come to the board, and where two of them
// hold an id, the later one has it.
constexpr Slot kFrontConstruction[] = {
    &S::m_encodedInput, &S::m_noiseSmooth, &S::m_destreak, &S::m_lineSharpen,
    &S::m_channelSharpen, &S::m_smooth,
};

// The stages of single variants (automatic tone of film, saturation, adapter matrix) come later.
constexpr Slot kConstruction[] = {
    &S::m_deviceMatrix, &S::m_mirror, &S::m_rotate, &S::m_sharpenSwitch, &S::m_outputFormat,
    &S::m_toneLevels, &S::m_autoTonePhoto, &S::m_encodingCurve, &S::m_histogram,
    &S::m_channelCurve, &S::m_densityColor, &S::m_darkNeutral, &S::m_sourceControl,
    &S::m_rangeClip, &S::m_threshold, &S::m_palette, &S::m_invert, &S::m_lutSharpen,
};

// Decoding first: everything behind it works on linear light in 16 bits.
constexpr Slot kFront[] = {
    &S::m_encodedInput, &S::m_lineSharpen, &S::m_noiseSmooth, &S::m_destreak, &S::m_smooth,
    &S::m_channelSharpen,
};

// Bodies, behind the head, in data order. m_lutSharpen stands in them all and is passed over when
// sharpening is done early or not at all, m_rangeClip behind the encoding curve, and is passed over
// unless somebody has asked for it.
constexpr Slot kReflectiveLineArt[] = {
    &S::m_deviceMatrix, &S::m_outputFormat, &S::m_lutSharpen, &S::m_threshold, &S::m_invert,
};
constexpr Slot kReflectiveColor[] = {
    &S::m_toneLevels, &S::m_deviceMatrix, &S::m_autoTonePhoto, &S::m_sourceControl,
    &S::m_encodingCurve, &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen,
    &S::m_palette, &S::m_invert,
};
constexpr Slot kReflectiveGray[] = {
    &S::m_toneLevels, &S::m_deviceMatrix, &S::m_autoTonePhoto, &S::m_sourceControl,
    &S::m_encodingCurve, &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen,
    &S::m_invert,
};
constexpr Slot kSlideLineArt[] = {
    &S::m_darkNeutral, &S::m_tmaMatrix, &S::m_outputFormat, &S::m_lutSharpen, &S::m_threshold,
    &S::m_invert,
};
constexpr Slot kSlideDithered[] = {
    &S::m_darkNeutral, &S::m_autoToneSlide, &S::m_sourceControl, &S::m_encodingCurve,
    &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen, &S::m_palette,
    &S::m_invert,
};
constexpr Slot kSlideColor[] = {
    &S::m_darkNeutral, &S::m_tmaMatrix, &S::m_autoToneSlide, &S::m_sourceControl,
    &S::m_encodingCurve, &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen,
    &S::m_palette, &S::m_invert,
};
constexpr Slot kSlideGray[] = {
    &S::m_darkNeutral, &S::m_autoToneSlide, &S::m_sourceControl, &S::m_encodingCurve,
    &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen, &S::m_invert,
};
constexpr Slot kNegativeLineArt[] = {
    &S::m_channelCurve, &S::m_autoToneNeg, &S::m_sourceControl, &S::m_densityColor,
    &S::m_saturation, &S::m_outputFormat, &S::m_lutSharpen, &S::m_threshold, &S::m_invert,
};
constexpr Slot kNegativeColor[] = {
    &S::m_channelCurve, &S::m_autoToneNeg, &S::m_densityColor, &S::m_saturation,
    &S::m_sourceControl, &S::m_encodingCurve, &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat,
    &S::m_lutSharpen, &S::m_palette, &S::m_invert,
};
constexpr Slot kNegativeGray[] = {
    &S::m_channelCurve, &S::m_autoToneNeg, &S::m_densityColor, &S::m_saturation,
    &S::m_sourceControl, &S::m_encodingCurve, &S::m_rangeClip, &S::m_histogram, &S::m_outputFormat,
    &S::m_lutSharpen, &S::m_invert,
};

// Bodies by variant, in the order of its enumerators, and output type; the last is that of any other
// type. Halftone goes the way of gray, and ends as colour does: its dots have the mean of the gray
// picture.
constexpr std::span<const Slot> kBodies[][kOutputTypes + 1] = {
    {kReflectiveLineArt, kReflectiveColor, kReflectiveGray, kReflectiveColor, kReflectiveColor,
     kReflectiveGray},
    {kSlideLineArt, kSlideDithered, kSlideGray, kSlideColor, kSlideColor, kSlideGray},
    {kNegativeLineArt, kNegativeColor, kNegativeGray, kNegativeColor, kNegativeColor, kNegativeGray},
};

// clang-format on

// A walk over some thirty rows, when a chain is built.
const S::Row* RowOf(Slot slot) {
    const auto* row = std::find_if(std::begin(kTable), std::end(kTable),
                                   [slot](const S::Row& r) { return r.m_slot == slot; });
    return row == std::end(kTable) ? nullptr : row;
}

}  // namespace

std::span<const CChainStages::Row> CChainStages::Table() {
    return kTable;
}

bool CChainStages::Make(Slot slot, QLAttribTree* tree) {
    const Row* row = RowOf(slot);
    if (this->*slot || !row)
        return false;
    this->*slot = row->m_make(tree);
    return this->*slot != nullptr;
}

// First all that go, then all that come: their tables never take memory together. One that comes
// back later is a new object with the state that the board tells it.
bool CChainStages::EnterVariant(QLChainVariant variant, QLAttribTree* tree) {
    for (const Row& row : kTable) {
        if (!row.LivesIn(variant))
            (this->*row.m_slot).reset();
    }
    bool made = false;
    for (const Row& row : kTable) {
        if (row.LivesIn(variant))
            made = Make(row.m_slot, tree) || made;
    }
    return made;
}

const char* CChainStages::ClassNameOf(const CQLStage* stage) const {
    for (const Row& row : kTable) {
        if (stage && (this->*row.m_slot).get() == stage)
            return row.m_className;
    }
    return nullptr;
}

std::span<const CChainStages::Slot> CChainStages::FrontConstruction() {
    return kFrontConstruction;
}

std::span<const CChainStages::Slot> CChainStages::Construction() {
    return kConstruction;
}

std::span<const CChainStages::Slot> CChainStages::Front() {
    return kFront;
}

std::span<const CChainStages::Slot> CChainStages::Body(QLChainVariant variant,
                                                       std::int32_t outputType) {
    const bool listed = outputType >= 0 && outputType < kOutputTypes;
    return kBodies[static_cast<std::size_t>(variant)][listed ? outputType : kOutputTypes];
}
