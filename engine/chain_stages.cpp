#include "engine/chain_stages.h"

#include <algorithm>
#include <new>

#include "stages/lut_stages.h"
#include "stages/matrix_stages.h"
#include "stages/source_control.h"
#include "stages/threshold.h"

namespace {

using S = CChainStages;
using Slot = S::Slot;

template <typename Stage>
std::unique_ptr<CQLStage> New(QLAttribTree* tree) {
    return std::unique_ptr<CQLStage>(new (std::nothrow) Stage(tree));
}

// clang-format off

// Every slot and its class. Without a function: the class does not exist yet, the slot stays empty.
constexpr S::Maker kMakers[] = {
    {&S::m_encodedInput,   "CEncodedInputStage",   New<CEncodedInputStage>},
    {&S::m_lineSharpen,    "CLineSharpenStage",    nullptr},
    {&S::m_noiseSmooth,    "CNoiseSmoothStage",    nullptr},
    {&S::m_destreak,       "CDestreakStage",       nullptr},
    {&S::m_smooth,         "CSmoothStage",         nullptr},
    {&S::m_channelSharpen, "CChannelSharpenStage", nullptr},
    {&S::m_sharpenSwitch,  "CSharpenSwitchStage",  nullptr},
    {&S::m_lutSharpen,     "CLutSharpenStage",     nullptr},
    {&S::m_mirror,         "CMirrorStage",         nullptr},
    {&S::m_rotate,         "CRotateStage",         nullptr},
    {&S::m_outputFormat,   "COutputFormatStage",   New<COutputFormatStage>},
    {&S::m_deviceMatrix,   "CDeviceMatrixStage",   New<CDeviceMatrixStage>},
    {&S::m_toneLevels,     "CToneLevelsStage",     New<CToneLevelsStage>},
    {&S::m_channelCurve,   "CChannelCurveStage",   New<CChannelCurveStage>},
    {&S::m_autoToneNeg,    "CAutoToneStage",       nullptr},
    {&S::m_saturation,     "CSaturationStage",     New<CSaturationStage>},
    {&S::m_densityColor,   "CDensityColorStage",   nullptr},
    {&S::m_darkNeutral,    "CDarkNeutralStage",    New<CDarkNeutralStage>},
    {&S::m_autoToneSlide,  "CAutoToneTmaStage",    nullptr},
    {&S::m_tmaMatrix,      "CTmaMatrixStage",      New<CTmaMatrixStage>},
    {&S::m_encodingCurve,  "CEncodingCurveStage",  New<CEncodingCurveStage>},
    {&S::m_histogram,      "CHistogramStage",      nullptr},
    {&S::m_sourceControl,  "CSourceControlStage",  New<CSourceControlStage>},
    {&S::m_rangeClip,      "CRangeClipStage",      nullptr},
    {&S::m_autoTonePhoto,  "CAutoTonePhotoStage",  nullptr},
    {&S::m_threshold,      "CThresholdStage",      New<CThresholdStage>},
    {&S::m_palette,        "CPaletteStage",        nullptr},
    {&S::m_invert,         "CInvertStage",         New<CInvertStage>},
};

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

constexpr Slot kFront[] = {
    &S::m_encodedInput, &S::m_lineSharpen, &S::m_noiseSmooth, &S::m_destreak, &S::m_smooth,
    &S::m_channelSharpen,
};

// Bodies, behind the head, in data order. m_lutSharpen stands in them all and is passed over when
// sharpening is done early or not at all.
constexpr Slot kReflectiveLineArt[] = {
    &S::m_deviceMatrix, &S::m_outputFormat, &S::m_lutSharpen, &S::m_threshold, &S::m_invert,
};
constexpr Slot kReflectiveColor[] = {
    &S::m_toneLevels, &S::m_deviceMatrix, &S::m_autoTonePhoto, &S::m_sourceControl,
    &S::m_encodingCurve, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen, &S::m_palette,
    &S::m_invert,
};
constexpr Slot kReflectiveGray[] = {
    &S::m_toneLevels, &S::m_deviceMatrix, &S::m_autoTonePhoto, &S::m_sourceControl,
    &S::m_encodingCurve, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen, &S::m_invert,
};
constexpr Slot kSlideLineArt[] = {
    &S::m_darkNeutral, &S::m_tmaMatrix, &S::m_outputFormat, &S::m_lutSharpen, &S::m_threshold,
    &S::m_invert,
};
constexpr Slot kSlideColor[] = {
    &S::m_darkNeutral, &S::m_tmaMatrix, &S::m_autoToneSlide, &S::m_sourceControl,
    &S::m_encodingCurve, &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen, &S::m_palette,
    &S::m_invert,
};
constexpr Slot kSlideGray[] = {
    &S::m_darkNeutral, &S::m_autoToneSlide, &S::m_sourceControl, &S::m_encodingCurve,
    &S::m_histogram, &S::m_outputFormat, &S::m_lutSharpen, &S::m_invert,
};
constexpr Slot kNegativeLineArt[] = {
    &S::m_channelCurve, &S::m_autoToneNeg, &S::m_sourceControl, &S::m_densityColor,
    &S::m_saturation, &S::m_outputFormat, &S::m_lutSharpen, &S::m_threshold, &S::m_invert,
};
constexpr Slot kNegativeColor[] = {
    &S::m_channelCurve, &S::m_autoToneNeg, &S::m_densityColor, &S::m_saturation,
    &S::m_sourceControl, &S::m_encodingCurve, &S::m_histogram, &S::m_outputFormat,
    &S::m_lutSharpen, &S::m_palette, &S::m_invert,
};
constexpr Slot kNegativeGray[] = {
    &S::m_channelCurve, &S::m_autoToneNeg, &S::m_densityColor, &S::m_saturation,
    &S::m_sourceControl, &S::m_encodingCurve, &S::m_histogram, &S::m_outputFormat,
    &S::m_lutSharpen, &S::m_invert,
};

constexpr Slot kReflectiveDrop[] = {
    &S::m_autoToneSlide, &S::m_autoToneNeg, &S::m_saturation, &S::m_tmaMatrix,
};
constexpr Slot kReflectiveNeed[] = {
    &S::m_deviceMatrix, &S::m_autoTonePhoto, &S::m_encodingCurve,
};
constexpr Slot kSlideDrop[] = {
    &S::m_deviceMatrix, &S::m_autoToneNeg, &S::m_saturation, &S::m_autoTonePhoto,
};
constexpr Slot kSlideNeed[] = {
    &S::m_autoToneSlide, &S::m_tmaMatrix, &S::m_histogram,
};
constexpr Slot kNegativeDrop[] = {
    &S::m_autoTonePhoto, &S::m_tmaMatrix, &S::m_autoToneSlide, &S::m_deviceMatrix,
};
constexpr Slot kNegativeNeed[] = {
    &S::m_autoToneNeg, &S::m_saturation, &S::m_histogram,
};

// Variants. Halftone goes the way of line art in the first only, elsewhere that of gray.
struct VariantRow {
    std::span<const Slot> m_body[5];  // by output type
    std::span<const Slot> m_other;    // any other output type
    S::Change m_change;
};
constexpr VariantRow kVariants[] = {
    {{kReflectiveLineArt, kReflectiveLineArt, kReflectiveGray, kReflectiveColor, kReflectiveColor},
     kReflectiveGray, {kReflectiveDrop, kReflectiveNeed}},
    {{kSlideLineArt, kSlideGray, kSlideGray, kSlideColor, kSlideColor},
     kSlideGray, {kSlideDrop, kSlideNeed}},
    {{kNegativeLineArt, kNegativeGray, kNegativeGray, kNegativeColor, kNegativeColor},
     kNegativeGray, {kNegativeDrop, kNegativeNeed}},
};

// clang-format on

const S::Maker* MakerOf(Slot slot) {
    const auto* maker = std::find_if(std::begin(kMakers), std::end(kMakers),
                                     [slot](const S::Maker& row) { return row.m_slot == slot; });
    return maker == std::end(kMakers) ? nullptr : maker;
}

const VariantRow& RowOf(QLChainVariant variant) {
    return kVariants[static_cast<std::size_t>(variant)];
}

}  // namespace

bool CChainStages::Make(Slot slot, QLAttribTree* tree) {
    if (this->*slot || !HasClass(slot))
        return false;
    this->*slot = MakerOf(slot)->m_make(tree);
    return this->*slot != nullptr;
}

bool CChainStages::HasClass(Slot slot) {
    const Maker* maker = MakerOf(slot);
    return maker && maker->m_make;
}

const char* CChainStages::ClassNameOf(const CQLStage* stage) const {
    for (const Maker& maker : kMakers) {
        if (stage && (this->*maker.m_slot).get() == stage)
            return maker.m_className;
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
    const VariantRow& row = RowOf(variant);
    const bool listed = outputType >= 0 && outputType < static_cast<int>(std::size(row.m_body));
    return listed ? row.m_body[outputType] : row.m_other;
}

CChainStages::Change CChainStages::EnterVariant(QLChainVariant variant) {
    return RowOf(variant).m_change;
}
