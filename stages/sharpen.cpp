#include "stages/sharpen.h"

#include <algorithm>

namespace {

// With S = u + d + l + r, over 8 as the kernels have it.
constexpr QLToneStep kKeep = {8, 0};
constexpr QLToneStep kOne = {12, -1};    // (12c - S) / 8
constexpr QLToneStep kTwo = {16, -2};    // (8c - S) / 4
constexpr QLToneStep kThree = {24, -4};  // (6c - S) / 2
constexpr QLToneStep kFour = {40, -8};   // 5c - S
constexpr QLToneStep kSoft = {4, 1};     // (4c + S) / 8
constexpr QLToneStep kMean = {0, 2};     // S / 4

// By levels 1 to 4; in each the breaks, and the kernels from light to dark.
// clang-format off
constexpr QLToneSteps kPlain[kKernelLevels] = {
    {{}, {kOne, kOne, kOne, kOne, kOne}},
    {{}, {kTwo, kTwo, kTwo, kTwo, kTwo}},
    {{}, {kThree, kThree, kThree, kThree, kThree}},
    {{}, {kFour, kFour, kFour, kFour, kFour}},
};
constexpr QLToneSteps kGrayToneA[kKernelLevels] = {
    {{721, 481, 241, 1}, {kOne,   kKeep,  kKeep, kKeep, kKeep}},
    {{721, 481, 241, 1}, {kTwo,   kOne,   kKeep, kKeep, kKeep}},
    {{721, 481, 241, 1}, {kThree, kTwo,   kOne,  kKeep, kKeep}},
    {{721, 481, 241, 1}, {kFour,  kThree, kTwo,  kOne,  kKeep}},
};
constexpr QLToneSteps kGrayToneB[kKernelLevels] = {
    {{1441, 1201, 801, 1}, {kOne,   kKeep,  kKeep, kKeep, kKeep}},
    {{1441, 1201, 801, 1}, {kTwo,   kOne,   kKeep, kKeep, kKeep}},
    {{1441, 1201, 801, 1}, {kThree, kTwo,   kOne,  kKeep, kKeep}},
    {{1441, 1201, 801, 1}, {kFour,  kThree, kTwo,  kOne,  kKeep}},
};
constexpr QLToneSteps kColorToneA[kKernelLevels] = {
    {{721, 481, 241, 1}, {kOne,   kSoft,  kSoft, kSoft, kSoft}},
    {{721, 481, 241, 1}, {kTwo,   kOne,   kSoft, kSoft, kSoft}},
    {{721, 481, 241, 1}, {kThree, kTwo,   kOne,  kSoft, kSoft}},
    {{721, 481, 241, 1}, {kFour,  kThree, kTwo,  kOne,  kKeep}},
};
constexpr QLToneSteps kColorToneB[kKernelLevels] = {
    {{1441, 1201, 801, 1}, {kOne,   kSoft,  kMean, kMean, kMean}},
    {{1441, 1201, 801, 1}, {kTwo,   kOne,   kSoft, kMean, kMean}},
    {{1441, 1201, 801, 1}, {kThree, kTwo,   kOne,  kMean, kMean}},
    {{1441, 1201, 801, 1}, {kFour,  kThree, kTwo,  kOne,  kSoft}},
};
// clang-format on

}  // namespace

std::span<const QLAttribRow> CSharpenStage::Rows() {
    using S = CSharpenStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_SHARPEN_LEVEL).Reads<&S::m_level>().Writes<&S::SetLevel>().Range(0, 5),
        R::Provides(QL_ATTR_SHARPEN_APPLY).Reads<&S::m_applyDefault>().Writes<&S::SetApply>(),
        R::Provides(QL_ATTR_SHARPEN_STRENGTH).Keeps<&S::m_variant>().Range(1, 4),
    };
    return rows;
}

CSharpenStage::CSharpenStage(QLAttribTree* tree) : CFiveLineStage(tree) {
    AttachRows(this);
}

QLStatus CSharpenStage::OnAfterOpen() {
    m_passThrough = m_passThrough || IsTooSmallOrPacked();
    return CFiveLineStage::OnAfterOpen();
}

void CSharpenStage::SetLevel(std::int32_t level) {
    if (m_applyDefault)
        ForceDefaultLevel();
    if (level == m_level)
        return;
    m_previousLevel = m_level;
    m_level = level;
    m_applyDefault = false;
}

// Also when it is switched off: the level starts from its default again.
void CSharpenStage::SetApply(bool apply) {
    m_applyDefault = apply;
    ForceDefaultLevel();
}

void CSharpenStage::ForceDefaultLevel() {
    if (m_level == kDefaultLevel)
        return;
    m_previousLevel = m_level;
    m_level = kDefaultLevel;
    Notify(QL_ATTR_SHARPEN_LEVEL);
}

std::int32_t CSharpenStage::FilterLine(std::uint16_t* out, Line line0, Line line1, Line line2,
                                       Line line3, Line line4) {
    using Operation = std::int32_t (CSharpenStage::*)(std::uint16_t*, Line, Line, Line, Line, Line);
    using S = CSharpenStage;
    // By variants, those without a row of their own first; gray, colour.
    static constexpr Operation kOperations[][2] = {
        {&S::SharpenGrayPlain, &S::SharpenColorPlain},
        {&S::SharpenGrayPlain, &S::SharpenColorPlain},
        {&S::SharpenGrayToneA, &S::SharpenColorToneA},
        {&S::SharpenGrayToneB, &S::SharpenColorToneB},
        {&S::SharpenGrayDetail, &S::SharpenColorDetail},
    };
    const bool known = m_variant >= 0 && m_variant < static_cast<int>(std::size(kOperations));
    const Operation operation =
        kOperations[known ? m_variant : 0][m_inFormat.m_samplesPerPixel == 3 ? 1 : 0];
    return (this->*operation)(out, line0, line1, line2, line3, line4);
}

std::int32_t CSharpenStage::Run(Kernel* kernel, const QLToneSteps (&levels)[kKernelLevels],
                                std::uint16_t* out, Line up, Line centre, Line down) const {
    const auto pixels = static_cast<std::size_t>(m_inFormat.m_width);
    const std::size_t channels = m_inFormat.m_samplesPerPixel;
    if (m_level < 1 || m_level > kKernelLevels)
        std::copy_n(centre, pixels * channels, out);
    else
        kernel(up, centre, down, out, pixels, channels, levels[m_level - 1]);
    return 1;
}

std::int32_t CSharpenStage::SharpenGrayPlain(std::uint16_t* out, Line, Line line1, Line line2,
                                             Line line3, Line) {
    return Run(SharpenByTone, kPlain, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenGrayDetail(std::uint16_t* out, Line, Line line1, Line line2,
                                              Line line3, Line) {
    return Run(SharpenDetail, kPlain, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenGrayToneA(std::uint16_t* out, Line, Line line1, Line line2,
                                             Line line3, Line) {
    return Run(SharpenByTone, kGrayToneA, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenGrayToneB(std::uint16_t* out, Line, Line line1, Line line2,
                                             Line line3, Line) {
    return Run(SharpenByTone, kGrayToneB, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenColorPlain(std::uint16_t* out, Line, Line line1, Line line2,
                                              Line line3, Line) {
    return Run(SharpenByTone, kPlain, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenColorDetail(std::uint16_t* out, Line, Line line1, Line line2,
                                               Line line3, Line) {
    return Run(SharpenDetail, kPlain, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenColorToneA(std::uint16_t* out, Line, Line line1, Line line2,
                                              Line line3, Line) {
    return Run(SharpenByTone, kColorToneA, out, line1, line2, line3);
}

std::int32_t CSharpenStage::SharpenColorToneB(std::uint16_t* out, Line, Line line1, Line line2,
                                              Line line3, Line) {
    return Run(SharpenByTone, kColorToneB, out, line1, line2, line3);
}
